#include "access_log.h"

#include <cstdio>
#include <ctime>

namespace qvant::refserver {

namespace {

std::string TimeStamp() {
    const auto now = std::chrono::system_clock::now();
    const auto nMs = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    const std::time_t nSeconds = std::chrono::system_clock::to_time_t(now);
    std::tm utc{};
    gmtime_r(&nSeconds, &utc);
    char date[32];
    char text[48];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text, sizeof text, "%s.%03dZ", date, static_cast<int>(nMs));
    return text;
}

void WriteLine(std::FILE* pFile, const std::string& strLine) {
    std::fwrite(strLine.data(), 1, strLine.size(), pFile);
    std::fflush(pFile);
}

// A client's bytes must not begin a line of their own.
std::string Printable(std::string_view text) {
    std::string strText(text);
    for (char& c : strText) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
    }
    return strText;
}

}  // namespace

void CAccessLog::WriteRequest(const AccessRecord& record) {
    std::string strLine = TimeStamp() + " " + Printable(record.method) + " " + Printable(record.target) + " " +
                          std::to_string(record.nStatus) + " " + std::to_string(record.nBodyBytes) +
                          (record.bGzip ? " gzip " : " plain ") + std::to_string(record.duration.count()) + "ms";
    if (!record.faults.empty()) strLine.append(" fault=").append(record.faults);
    const CLock lock(m_mutex);
    WriteLine(stdout, strLine + "\n");
}

void CAccessLog::WriteNote(std::string_view text) {
    const std::string strLine = TimeStamp() + " " + std::string(text) + "\n";
    const CLock lock(m_mutex);
    WriteLine(stderr, strLine);
}

}  // namespace qvant::refserver
