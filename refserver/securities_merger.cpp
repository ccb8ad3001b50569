#include "securities_merger.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <rapidjson/error/en.h>
#include <rapidjson/filereadstream.h>
#include <rapidjson/reader.h>
#include <rapidjson/writer.h>

#include "world_error.h"

namespace qvant::refserver {

namespace {

struct StringSink {
    using Ch = char;
    std::string& strText;
    void Put(char c) { strText.push_back(c); }
    void Flush() {}
};

}  // namespace

/// Takes a file's parse events and writes the securities, without the braces around them, to the merger's text.
class CSecuritiesReader {
public:
    explicit CSecuritiesReader(CSecuritiesMerger& merger) : m_merger(merger), m_sink{merger.m_strText} {}

    bool Null() {
        return Value([](auto& w) { return w.Null(); });
    }
    bool Bool(bool b) {
        return Value([b](auto& w) { return w.Bool(b); });
    }
    bool Int(int n) {
        return Value([n](auto& w) { return w.Int(n); });
    }
    bool Uint(unsigned n) {
        return Value([n](auto& w) { return w.Uint(n); });
    }
    bool Int64(std::int64_t n) {
        return Value([n](auto& w) { return w.Int64(n); });
    }
    bool Uint64(std::uint64_t n) {
        return Value([n](auto& w) { return w.Uint64(n); });
    }
    bool Double(double d) {
        return Value([d](auto& w) { return w.Double(d); });
    }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return false; }
    bool String(const char* p, rapidjson::SizeType n, bool) {
        return Value([p, n](auto& w) { return w.String(p, n); });
    }
    bool StartArray() {
        const bool bTaken = Value([](auto& w) { return w.StartArray(); });
        ++m_nDepth;
        return bTaken;
    }
    bool EndArray(rapidjson::SizeType) {
        --m_nDepth;
        return m_writer.EndArray();
    }
    bool StartObject() { return m_nDepth++ == 0 || m_writer.StartObject(); }
    bool EndObject(rapidjson::SizeType) {
        --m_nDepth;
        if (m_nDepth == 0) return true;
        const bool bWritten = m_writer.EndObject();
        if (m_nDepth == 1) m_merger.m_arSecurities.push_back({m_nBegin, m_nValue, m_merger.m_strText.size(), m_pKey});
        return bWritten;
    }
    bool Key(const char* p, rapidjson::SizeType n, bool) { return m_nDepth == 1 ? StartSecurity(p, n) : Write(p, n); }

    const std::string& GetFault() const { return m_strFault; }

private:
    using Writer = rapidjson::Writer<StringSink, rapidjson::UTF8<>, rapidjson::UTF8<>, rapidjson::CrtAllocator,
                                     rapidjson::kWriteDefaultFlags>;

    bool Write(const char* p, rapidjson::SizeType n) { return m_writer.Key(p, n); }

    template <typename Call>
    bool Value(const Call& call) {
        if (m_nDepth > 1) return call(m_writer);
        m_strFault = m_nDepth == 0 ? "isn't an object of securities" : "\"" + m_strKey + "\" isn't an object";
        return false;
    }

    bool StartSecurity(const char* p, rapidjson::SizeType n) {
        m_strKey.assign(p, n);
        const auto [itKey, bNew] = m_merger.m_setKeys.insert(m_strKey);
        m_pKey = &*itKey;
        if (!bNew) {
            m_strFault = "\"" + m_strKey + "\" stands twice";
            return false;
        }
        auto& strText = m_merger.m_strText;
        if (!strText.empty()) strText += ',';
        m_nBegin = strText.size();
        m_writer.Reset(m_sink);
        m_keyWriter.Reset(m_sink);
        const bool bWritten = m_keyWriter.String(p, n);
        strText += ':';
        m_nValue = strText.size();
        return bWritten;
    }

    CSecuritiesMerger& m_merger;
    StringSink m_sink;
    Writer m_writer{m_sink};     // the value of one security
    Writer m_keyWriter{m_sink};  // its key, a JSON text of its own to this writer
    int m_nDepth = 0;
    std::size_t m_nBegin = 0;
    std::size_t m_nValue = 0;
    const std::string* m_pKey = nullptr;
    std::string m_strKey;
    std::string m_strFault;
};

void CSecuritiesMerger::AddFile(const std::filesystem::path& file) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen(file.c_str(), "rb"), &std::fclose);
    if (!pFile) throw CWorldError(file.string() + ": " + std::strerror(errno));
    char block[64 * 1024];
    rapidjson::FileReadStream stream(pFile.get(), block, sizeof block);
    rapidjson::Reader reader;
    CSecuritiesReader handler(*this);
    // Iterative: a file nested a million deep is a bad file, not a full stack.
    const auto result =
        reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream, handler);
    if (result) return;
    const std::string strFault =
        handler.GetFault().empty() ? rapidjson::GetParseError_En(result.Code()) : handler.GetFault();
    throw CWorldError(file.string() + ": " + strFault + " (byte " + std::to_string(result.Offset()) + ")");
}

std::string CSecuritiesMerger::Select(const std::vector<std::string>& arPrefixes) const {
    std::string strSelected = "{";
    for (const auto& security : m_arSecurities) {
        const auto text = std::string_view(m_strText).substr(security.nBegin, security.nEnd - security.nBegin);
        const bool bWanted = std::any_of(arPrefixes.begin(), arPrefixes.end(),
                                         [&](const auto& strPrefix) { return text.substr(1).starts_with(strPrefix); });
        if (!bWanted) continue;
        if (strSelected.size() > 1) strSelected += ',';
        strSelected += text;
    }
    return strSelected + "}";
}

void CSecuritiesMerger::ForEach(const std::function<void(const std::string&, std::string_view)>& call) const {
    for (const auto& security : m_arSecurities) {
        call(*security.pKey, std::string_view(m_strText).substr(security.nValue, security.nEnd - security.nValue));
    }
}

std::string CSecuritiesMerger::TakeAll() {
    std::string strAll = std::move(m_strText);
    strAll.insert(strAll.begin(), '{');
    strAll += '}';
    return strAll;
}

}  // namespace qvant::refserver
