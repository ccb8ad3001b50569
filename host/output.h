/// Where the host's events and replies go, and in which form.
#pragma once

#include <atomic>
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

/// Keeps what a script does off the screen until the prompt behind it opens; a failed request shows all the same.
class CCurtain final : public IOutput {
public:
    CCurtain(IOutput& output, bool bUp) : m_output(output), m_bUp(bUp) {}

    void Raise() { m_bUp = true; }

    void ShowEvent(const Event& event) override {
        if (m_bUp) m_output.ShowEvent(event);
    }
    void ShowReply(const Reply& reply) override {
        if (m_bUp || !reply.strError.empty()) m_output.ShowReply(reply);
    }

private:
    IOutput& m_output;
    std::atomic<bool> m_bUp;
};

}  // namespace qvant::host
