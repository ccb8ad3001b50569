#include "shared_block.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace qvant::host {

namespace {

/// An open block.
class CBlockFile {
public:
    explicit CBlockFile(const std::string& strName)
        : m_nFile(shm_open(strName.c_str(), O_RDONLY | O_NONBLOCK, 0)), m_nError(errno) {}
    CBlockFile(const CBlockFile&) = delete;
    CBlockFile& operator=(const CBlockFile&) = delete;
    ~CBlockFile() {
        if (m_nFile >= 0) close(m_nFile);
    }

    bool IsOpen() const { return m_nFile >= 0; }
    std::string GetError() const { return std::generic_category().message(m_nError); }
    std::size_t GetSize() const {
        struct stat info {};
        return fstat(m_nFile, &info) == 0 && S_ISREG(info.st_mode) ? static_cast<std::size_t>(info.st_size) : 0;
    }
    /// Read as a file: a view of memory that its owner cuts short would end the process at the touch.
    std::string Read(std::size_t nSize) const {
        std::string strBytes(nSize, '\0');
        std::size_t nDone = 0;
        while (nDone < nSize) {
            const ssize_t nRead = pread(m_nFile, strBytes.data() + nDone, nSize - nDone, static_cast<off_t>(nDone));
            if (nRead < 0 && errno == EINTR) continue;
            if (nRead <= 0) break;
            nDone += static_cast<std::size_t>(nRead);
        }
        strBytes.resize(nDone);
        return strBytes;
    }

private:
    const int m_nFile;
    const int m_nError;
};

class CArchiveReader {
public:
    explicit CArchiveReader(std::string_view strBytes) : m_strBytes(strBytes) {}

    /// 16 bits, or 32 behind the largest of these.
    std::size_t ReadCount() {
        const std::size_t nCount = ReadNumber(2);
        return nCount == 0xFFFF ? ReadNumber(4) : nCount;
    }
    Text ReadText() {
        if (Take(WIDE_MARK.size()) != WIDE_MARK) Fail();
        const std::size_t nLength = ReadLength();
        if (nLength > (m_strBytes.size() - m_nPosition) / 2) Fail();
        const std::string_view strUnits = Take(nLength * 2);
        Text strText(nLength, u'\0');
        for (std::size_t i = 0; i < nLength; ++i)
            strText[i] = static_cast<char16_t>(NumberOf(strUnits.substr(2 * i, 2)));
        return strText;
    }
    void Finish() const {
        if (m_nPosition != m_strBytes.size()) Fail();
    }

private:
    static constexpr std::string_view WIDE_MARK = "\xFF\xFE\xFF";

    std::size_t ReadLength() {
        std::size_t nLength = ReadNumber(1);
        if (nLength == 0xFF) nLength = ReadNumber(2);
        return nLength == 0xFFFF ? ReadNumber(4) : nLength;
    }
    static std::size_t NumberOf(std::string_view strBytes) {
        std::size_t nNumber = 0;
        for (std::size_t i = strBytes.size(); i-- > 0;)
            nNumber = nNumber << 8 | static_cast<unsigned char>(strBytes[i]);
        return nNumber;
    }
    std::size_t ReadNumber(std::size_t nBytes) { return NumberOf(Take(nBytes)); }
    std::string_view Take(std::size_t nBytes) {
        if (nBytes > m_strBytes.size() - m_nPosition) Fail();
        const std::string_view strTaken = m_strBytes.substr(m_nPosition, nBytes);
        m_nPosition += nBytes;
        return strTaken;
    }
    [[noreturn]] void Fail() const {
        throw CFailure("the shared block is damaged at byte " + std::to_string(m_nPosition));
    }

    const std::string_view m_strBytes;
    std::size_t m_nPosition = 0;
};

}  // namespace

std::string ReadSharedBlock(TextView strName, std::size_t nSize) {
    const CBlockFile block('/' + Narrow(strName));
    if (!block.IsOpen()) throw CFailure("can't open the shared block " + Quote(strName) + ": " + block.GetError());
    std::string strBytes = block.Read(block.GetSize() < nSize ? 0 : nSize);
    if (strBytes.size() < nSize)
        throw CFailure("the shared block " + Quote(strName) + " is shorter than " + std::to_string(nSize) + " bytes");
    return strBytes;
}

std::unordered_map<Text, Text> ReadTextArchive(std::string_view strBytes) {
    CArchiveReader reader(strBytes);
    std::unordered_map<Text, Text> mapTexts;
    // Not set aside by the count, which may be anything.
    for (std::size_t nLeft = reader.ReadCount(); nLeft > 0; --nLeft) {
        Text strKey = reader.ReadText();
        mapTexts.insert_or_assign(std::move(strKey), reader.ReadText());
    }
    reader.Finish();
    return mapTexts;
}

}  // namespace qvant::host
