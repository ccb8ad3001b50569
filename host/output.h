/// Where the host's events and replies go, and in which form.
#pragma once

#include <string>
#include <string_view>

#include "event.h"
#include "reply.h"

namespace qvant::host {

/// Takes whole lines. Any thread may write; lines never mix.
class ILineWriter {
public:
    virtual ~ILineWriter() = default;

    /// @param strLines  one line or more, each with its line end
    virtual void Write(std::string_view strLines) = 0;
};

/// Shows events and replies. Any thread may call; events come in the order of their numbers.
class IOutput {
public:
    virtual ~IOutput() = default;

    virtual void ShowEvent(const Event& event) = 0;
    virtual void ShowReply(const Reply& reply) = 0;
};

/// For machines: one JSON object a line.
class CJsonOutput final : public IOutput {
public:
    explicit CJsonOutput(ILineWriter& writer) : m_writer(writer) {}

    void ShowEvent(const Event& event) override;
    void ShowReply(const Reply& reply) override;

private:
    ILineWriter& m_writer;
};

/// For people: aligned columns, of long tables the first rows and the count.
class CTextOutput final : public IOutput {
public:
    explicit CTextOutput(ILineWriter& writer) : m_writer(writer) {}

    void ShowEvent(const Event& event) override;
    void ShowReply(const Reply& reply) override;

private:
    ILineWriter& m_writer;
};

}  // namespace qvant::host
