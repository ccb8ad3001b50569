/// Where the requests come from when nobody sits at a prompt.
#pragma once

#include <optional>
#include <string>

#include "base/mutex.h"
#include "output.h"
#include "stop.h"

namespace qvant::host {

/// Gives the lines, one after the other. Belongs to the host thread.
class ILineSource {
public:
    virtual ~ILineSource() = default;

    /// The next line without its line end; none at the end of the input and at the stop.
    virtual std::optional<std::string> Read() = 0;
};

/// Lines of a file or a pipe.
class CFileLines final : public ILineSource {
public:
    /// Longest line that is taken, in bytes. A longer one is given cut to one byte more than this.
    static constexpr std::size_t LINE_LIMIT = std::size_t{64} << 20;

    CFileLines(int nFile, CStop& stop) : m_nFile(nFile), m_stop(stop) {}

    std::optional<std::string> Read() override;

private:
    void TrimEnds(std::string& strLine);
    bool Fill();
    void Take(std::string& strLine, std::size_t nEnd);

    const int m_nFile;
    CStop& m_stop;
    std::string m_strBuffer;
    std::size_t m_nStart = 0;
    bool m_bFirst = true;
};

/// Writes lines to a file or a pipe. When nobody reads them any more it asks the host to stop.
class CFileWriter final : public ILineWriter {
public:
    CFileWriter(int nFile, CStop& stop) : m_nFile(nFile), m_stop(stop) {}

    void Write(std::string_view strLines) override;

private:
    const int m_nFile;
    CStop& m_stop;
    CMutex m_mutex;
};

}  // namespace qvant::host
