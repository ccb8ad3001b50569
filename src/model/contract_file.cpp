#include "model/contract_file.h"

#include <cstdint>
#include <limits>

#include "net/wide_json_reader.h"

namespace qvant {

namespace {

/// Hands the values on to a document.
class CDocumentTarget {
public:
    explicit CDocumentTarget(JsonDocument& document) : m_document(document) {}

    void StartObject() { m_document.StartObject(); }
    void StartArray() { m_document.StartArray(); }
    void EndObject(std::uint32_t nMembers) { m_document.EndObject(nMembers); }
    void EndArray(std::uint32_t nElements) { m_document.EndArray(nElements); }
    void StartElement() {}

    bool ReadKey(CWideJsonScan& scan) { return ReadText(scan); }
    bool ReadText(CWideJsonScan& scan) {
        TextView strText;
        if (!scan.ReadString(strText, m_strBuffer)) return false;
        const bool bCopy = strText.data() == m_strBuffer.data();
        return m_document.String(strText.data(), static_cast<rapidjson::SizeType>(strText.size()), bCopy);
    }
    bool ReadScalar(CWideJsonScan& scan) {
        CJsonValue value;
        return scan.ReadScalar(value) && m_document.Null();
    }

private:
    JsonDocument& m_document;
    Text m_strBuffer;  ///< a text with its escapes resolved
};

}  // namespace

bool ParseContractFile(JsonDocument& file, TextView strText) {
    constexpr auto MOST_UNITS = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    file.SetNull();
    if (strText.size() > MOST_UNITS) return false;
    bool bRead = false;
    const auto Read = [&](JsonDocument& document) {
        CDocumentTarget target(document);
        bRead = CWideJsonReader<CDocumentTarget>(strText, target).Read();
        return bRead;
    };
    file.Populate(Read);
    return bRead;
}

}  // namespace qvant
