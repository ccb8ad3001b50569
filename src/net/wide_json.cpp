#include "net/wide_json.h"

#include <utility>

#include "base/format.h"
#include "net/wide_json_reader.h"

namespace qvant {

namespace {

using Children = std::vector<std::unique_ptr<CJsonValue>>;

void MoveChildren(CJsonValue& value, Children& arChildren) {
    if (auto* pArray = value.Get<CJsonValue::Array>()) {
        for (auto& pChild : *pArray) arChildren.push_back(std::move(pChild));
        pArray->clear();
    } else if (auto* pObject = value.Get<CJsonValue::Object>()) {
        for (auto& [strKey, pChild] : *pObject) arChildren.push_back(std::move(pChild));
        pObject->clear();
    }
}

// Grows a tree of values.
class CTreeTarget {
public:
    explicit CTreeTarget(CJsonValue& root) : m_pValue(&root) {}

    void StartObject() {
        m_pValue->MakeObject();
        m_arOpen.push_back(m_pValue);
    }
    void StartArray() {
        m_pValue->MakeArray();
        m_arOpen.push_back(m_pValue);
    }
    void EndObject(std::uint32_t) { m_arOpen.pop_back(); }
    void EndArray(std::uint32_t) { m_arOpen.pop_back(); }
    void StartElement() {
        auto& array = *m_arOpen.back()->Get<CJsonValue::Array>();
        m_pValue = array.emplace_back(std::make_unique<CJsonValue>()).get();
    }

    bool ReadKey(CWideJsonScan& scan) {
        Text strKey;
        if (!scan.ReadString(strKey)) return false;
        auto& pMember = (*m_arOpen.back()->Get<CJsonValue::Object>())[std::move(strKey)];
        pMember = std::make_unique<CJsonValue>();
        m_pValue = pMember.get();
        return true;
    }
    bool ReadText(CWideJsonScan& scan) {
        Text strValue;
        if (!scan.ReadString(strValue)) return false;
        *m_pValue = CJsonValue(std::move(strValue));
        return true;
    }
    bool ReadScalar(CWideJsonScan& scan) { return scan.ReadScalar(*m_pValue); }

private:
    CJsonValue* m_pValue;  // where the next value goes
    std::vector<CJsonValue*> m_arOpen;
};

// Writes a tree, with the containers that are being written on a stack of its own.
class CValueWriter {
public:
    Text Write(const CJsonValue& root) {
        WriteOne(root);
        while (!m_arOpen.empty()) {
            if (Frame& frame = m_arOpen.back(); frame.pArray) {
                ContinueArray(frame);
            } else {
                ContinueObject(frame);
            }
        }
        return std::move(m_strText);
    }

private:
    struct Frame {
        const CJsonValue::Array* pArray = nullptr;
        const CJsonValue::Object* pObject = nullptr;
        std::size_t nNext = 0;
        CJsonValue::Object::const_iterator itNext{};
        bool bFirst = true;
    };

    void WriteOne(const CJsonValue& value) {
        switch (value.GetType()) {
            case CJsonValue::TYPE_NULL:
                m_strText += u"null";
                break;
            case CJsonValue::TYPE_BOOLEAN:
                m_strText += *value.Get<bool>() ? u"true" : u"false";
                break;
            case CJsonValue::TYPE_INT32:
                m_strText += Format(u"%d", *value.Get<std::int32_t>());
                break;
            case CJsonValue::TYPE_INT64:
                m_strText += Format(u"%I64d", *value.Get<std::int64_t>());
                break;
            case CJsonValue::TYPE_DOUBLE:
                m_strText += Format(u"%.4f", *value.Get<double>());
                break;
            case CJsonValue::TYPE_STRING:
                // Not escaped: the host's readers of these messages take the text between the quotes as it is.
                m_strText += u'"';
                m_strText += *value.Get<Text>();
                m_strText += u'"';
                break;
            case CJsonValue::TYPE_ARRAY:
                m_strText += u'[';
                m_arOpen.push_back({.pArray = value.Get<CJsonValue::Array>()});
                break;
            case CJsonValue::TYPE_OBJECT: {
                m_strText += u'{';
                const auto* pObject = value.Get<CJsonValue::Object>();
                m_arOpen.push_back({.pObject = pObject, .itNext = pObject->begin()});
                break;
            }
        }
    }

    void ContinueArray(Frame& frame) {
        while (frame.nNext < frame.pArray->size() && !(*frame.pArray)[frame.nNext]) ++frame.nNext;
        if (frame.nNext == frame.pArray->size()) return Close(u']');
        const CJsonValue& value = *(*frame.pArray)[frame.nNext++];
        Separate(frame);
        WriteOne(value);
    }

    void ContinueObject(Frame& frame) {
        while (frame.itNext != frame.pObject->end() && !frame.itNext->second) ++frame.itNext;
        if (frame.itNext == frame.pObject->end()) return Close(u'}');
        const auto& [strKey, pValue] = *frame.itNext++;
        Separate(frame);
        m_strText += u'"';
        m_strText += strKey;
        m_strText += u"\" : ";
        WriteOne(*pValue);
    }

    void Separate(Frame& frame) {
        if (!std::exchange(frame.bFirst, false)) m_strText += u", ";
    }

    void Close(char16_t chEnd) {
        m_strText += chEnd;
        m_arOpen.pop_back();
    }

    Text m_strText;
    std::vector<Frame> m_arOpen;
};

}  // namespace

// NOLINTBEGIN(bugprone-exception-escape): as declared
CJsonValue::~CJsonValue() { ClearValue(*this); }

CJsonValue::CJsonValue(CJsonValue&& other) noexcept : m_value(std::move(other.m_value)) {
    other.m_value = std::monostate();
}

CJsonValue& CJsonValue::operator=(CJsonValue&& other) noexcept {
    // The other value may stand below this one: it is taken out before the tree goes.
    auto taken = std::move(other.m_value);
    other.m_value = std::monostate();
    ClearValue(*this);
    m_value = std::move(taken);
    return *this;
}
// NOLINTEND(bugprone-exception-escape)

void CJsonValue::Set(TextView strKey, CJsonValue value) {
    auto* pObject = Get<Object>();
    if (!pObject) return;
    auto pValue = std::make_unique<CJsonValue>(std::move(value));
    if (const auto found = pObject->find(strKey); found != pObject->end()) {
        found->second = std::move(pValue);
    } else {
        pObject->emplace(Text(strKey), std::move(pValue));
    }
}

const CJsonValue* CJsonValue::Find(TextView strKey) const {
    const auto* pObject = Get<Object>();
    if (!pObject) return nullptr;
    const auto found = pObject->find(strKey);
    return found == pObject->end() ? nullptr : found->second.get();
}

void ClearValue(CJsonValue& value) {
    Children arPending;
    MoveChildren(value, arPending);
    while (!arPending.empty()) {
        const auto pChild = std::move(arPending.back());
        arPending.pop_back();
        if (pChild) MoveChildren(*pChild, arPending);
    }
    value.m_value = std::monostate();
}

std::int32_t ParseValue(CJsonValue& value, const char16_t* pText, std::int32_t nLength) {
    ClearValue(value);
    if (!pText || nLength < 1) return -1;
    CTreeTarget tree(value);
    CWideJsonReader<CTreeTarget> reader(TextView(pText, static_cast<std::size_t>(nLength)), tree);
    const bool bRead = reader.Read();
    const auto nPosition = static_cast<std::int32_t>(reader.GetPosition());
    if (bRead) return nPosition;
    ClearValue(value);
    return nPosition > 0 ? -nPosition : -1;
}

Text ValueToText(const CJsonValue& value) { return CValueWriter().Write(value); }

}  // namespace qvant
