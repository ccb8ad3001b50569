#include "service/hosting/host_events.h"

#include <algorithm>
#include <array>

#include "base/format.h"
#include "qvant/lumivale.h"

namespace qvant {

namespace {

constexpr std::size_t MOST_ARGUMENTS = 5;
constexpr std::int32_t REGISTER_FLAG = 1;

VARIANT ByReference(VARIANT* pData) {
    VARIANT reference{};
    reference.vt = VT_VARIANT | VT_BYREF;
    reference.pvarVal = pData;
    return reference;
}

}  // namespace

/// The result is that of the last sink.
HRESULT CHostEvents::Fire(DISPID nEvent, std::initializer_list<const VARIANT*> arguments, CVariant& result) {
    // Borrowed copies in the order of a dispatch call, the last argument first.
    std::array<VARIANT, MOST_ARGUMENTS> arReversed{};
    std::transform(arguments.begin(), arguments.end(),
                   arReversed.rend() - static_cast<std::ptrdiff_t>(arguments.size()),
                   [](const VARIANT* pArgument) { return *pArgument; });
    HRESULT hr = S_OK;
    m_events.ForEachSink([&](IDispatch& sink) {
        DISPPARAMS parameters{arReversed.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
        CVariant sinkResult;
        hr = sink.Invoke(nEvent, IID_NULL, 0, DISPATCH_METHOD, &parameters, &sinkResult, nullptr, nullptr);
        result = std::move(sinkResult);
    });
    return hr;
}

void CHostEvents::RegisterTable(TextView strTable) {
    const CVariant table(strTable), flag(REGISTER_FLAG);
    CVariant result;
    Fire(EVENT_REGISTER_TABLE, {&table, &flag}, result);
}

void CHostEvents::RegisterTopic(TextView strTopic) {
    const CVariant topic(strTopic);
    CVariant result;
    Fire(EVENT_REGISTER_TOPIC, {&topic}, result);
}

void CHostEvents::SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                            VARIANT* pData) {
    const CVariant topic(strTopic), type(nType), parameter(nParameter), text(strText);
    const VARIANT data = ByReference(pData);
    CVariant result;
    Fire(EVENT_SEND_TOPIC, {&topic, &type, &parameter, &text, &data}, result);
}

void CHostEvents::ReportError(std::int32_t nCode, std::int32_t nParameter, TextView strText) {
    const CVariant code(nCode), parameter(nParameter), text(strText);
    CVariant empty, result;
    const VARIANT data = ByReference(&empty);
    Fire(EVENT_REPORT_ERROR, {&code, &parameter, &text, &data}, result);
}

void CHostEvents::LogMessage(TextView strText) {
    const CVariant line{TextView(Format(u"<Lumivale> %s", strText))};
    CVariant result;
    Fire(EVENT_WRITE_LOG, {&line}, result);
}

std::unique_ptr<CBaseData> CHostEvents::OpenTable(TextView strName, CBaseDataEventReceiver* pSink) {
    const CVariant name(strName);
    CVariant result;
    if (Fire(EVENT_GET_TABLE_COOKIE, {&name}, result) != S_OK || result.vt != VT_I4 || result.lVal == 0) return nullptr;
    return CBaseData::WrapCookie(static_cast<std::uint32_t>(result.lVal), pSink);
}

}  // namespace qvant
