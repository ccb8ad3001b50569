#include "net/wide_json.h"

#include <utility>

#include "base/format.h"
#include "net/wide_json_scan.h"

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

// Reads one value with all that is in it. Containers that are still open stand on a stack of their own: the depth of
// a text is the sender's choice, and the thread's stack isn't to be his.
class CValueReader {
public:
    explicit CValueReader(TextView strText) : m_scan(strText) {}

    bool Read(CJsonValue& root) {
        if (!ReadOne(root)) return false;
        while (!m_arOpen.empty()) {
            if (!Continue(*m_arOpen.back())) return false;
        }
        return true;
    }

    std::size_t GetPosition() const { return m_scan.GetPosition(); }

private:
    bool ReadOne(CJsonValue& value) {
        m_scan.SkipBlanks();
        switch (m_scan.Peek()) {
            case u'{':
                value.MakeObject();
                return Open(value, m_scan.HasObjectEnd());
            case u'[':
                value.MakeArray();
                return Open(value, m_scan.HasArrayEnd());
            case u'"':
                return ReadString(value);
            default:
                return m_scan.ReadScalar(value);
        }
    }

    bool Open(CJsonValue& value, bool bHasEnd) {
        m_scan.Skip();
        m_arOpen.push_back(&value);
        return bHasEnd;
    }

    bool ReadString(CJsonValue& value) {
        Text strValue;
        if (!m_scan.ReadString(strValue)) return false;
        value = CJsonValue(std::move(strValue));
        return true;
    }

    // One member or element of the innermost open container, or its end. A comma is taken where it stands and missed
    // by nobody where it doesn't.
    bool Continue(CJsonValue& container) {
        m_scan.SkipBlanks();
        if (m_bAfterValue && m_scan.Peek() == u',') {
            m_scan.Skip();
            m_scan.SkipBlanks();
        }
        m_bAfterValue = false;
        auto* pObject = container.Get<CJsonValue::Object>();
        if (m_scan.Peek() == (pObject ? u'}' : u']')) return Close();
        CJsonValue* pChild = pObject ? AddMember(*pObject) : AddElement(*container.Get<CJsonValue::Array>());
        if (!pChild) return false;
        const std::size_t nDepth = m_arOpen.size();
        if (!ReadOne(*pChild)) return false;
        m_bAfterValue = m_arOpen.size() == nDepth;
        return true;
    }

    bool Close() {
        m_scan.Skip();
        m_arOpen.pop_back();
        m_bAfterValue = true;
        return true;
    }

    CJsonValue* AddMember(CJsonValue::Object& object) {
        Text strKey;
        if (m_scan.Peek() != u'"' || !m_scan.ReadString(strKey)) return nullptr;
        m_scan.SkipBlanks();
        if (m_scan.Peek() != u':') return nullptr;
        m_scan.Skip();
        auto& pMember = object[std::move(strKey)];
        pMember = std::make_unique<CJsonValue>();
        return pMember.get();
    }

    static CJsonValue* AddElement(CJsonValue::Array& array) {
        return array.emplace_back(std::make_unique<CJsonValue>()).get();
    }

    CWideJsonScan m_scan;
    std::vector<CJsonValue*> m_arOpen;
    bool m_bAfterValue = false;
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
    CValueReader reader(TextView(pText, static_cast<std::size_t>(nLength)));
    const bool bRead = reader.Read(value);
    const auto nPosition = static_cast<std::int32_t>(reader.GetPosition());
    if (bRead) return nPosition;
    ClearValue(value);
    return nPosition > 0 ? -nPosition : -1;
}

Text ValueToText(const CJsonValue& value) { return CValueWriter().Write(value); }

}  // namespace qvant
