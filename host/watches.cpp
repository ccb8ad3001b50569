#include "watches.h"

namespace qvant::host {

namespace {

class CTableSink final : public CDispatchSink {
public:
    CTableSink(CEventLog& log, TablePath path)
        : CDispatchSink(IID__IBaseDataEvents), m_log(log), m_path(std::move(path)) {}

private:
    HRESULT OnCall(DISPID nMember, const CArguments& arguments, VARIANT*) override {
        EventFields arFields{
            {"table", m_path.strTable}, {"path", m_path.arPath}, {"transaction", FromVariant(arguments[0])}};
        switch (nMember) {
            case store::EVENT_UPDATE:
                arFields.emplace_back("key", FromVariant(arguments[1]));
                m_log.Add(kind::UPDATE, std::move(arFields));
                return S_OK;
            case store::EVENT_REPLACE:
                m_log.Add(kind::REPLACE, std::move(arFields));
                return S_OK;
            default:
                return DISP_E_MEMBERNOTFOUND;
        }
    }

    CEventLog& m_log;
    const TablePath m_path;
};

}  // namespace

void CWatches::Watch(const TablePath& path, const CStoreTable& table) {
    auto& pConnection = m_mapConnections[Key(path.strTable, path.arPath)];
    if (pConnection) return;
    auto pSink = ComPtr<CDispatchSink>::Attach(new CTableSink(m_log, path));
    pConnection = std::make_unique<CConnection>(table.Get(), IID__IBaseDataEvents, std::move(pSink));
}

bool CWatches::Unwatch(const TablePath& path) { return m_mapConnections.erase(Key(path.strTable, path.arPath)) > 0; }

void CWatches::Forget(TextView strTable) {
    std::erase_if(m_mapConnections, [strTable](const auto& entry) { return entry.first.first == strTable; });
}

}  // namespace qvant::host
