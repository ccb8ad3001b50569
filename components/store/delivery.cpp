#include "delivery.h"

#include <vector>

#include "qvant/store.h"

namespace qvant::store {

bool CDelivery::Start() {
    return m_thread.Start("store-sink", [this] {
        m_threadId = std::this_thread::get_id();
        Run();
        m_bEnded = true;
    });
}

void CDelivery::Queue(std::shared_ptr<const SEventBatch> pBatch) {
    {
        const CLock lock(m_mutex);
        m_queue.push_back(std::move(pBatch));
    }
    m_condition.notify_one();
}

void CDelivery::Finish() {
    {
        const CLock lock(m_mutex);
        m_bFinishing = true;
    }
    m_condition.notify_one();
    // A delivery thread may end another sink's delivery; told to stop meanwhile, it waits for the running call alone.
    if (!IsOwnThread()) m_thread.Wait();
    Stop();
}

void CDelivery::Stop() {
    {
        const CLock lock(m_mutex);
        m_bStopping = true;
        m_queue.clear();
    }
    m_condition.notify_one();
    if (!IsOwnThread()) m_thread.StopAndJoin();
}

std::shared_ptr<const SEventBatch> CDelivery::WaitForBatch() {
    CLock lock(m_mutex);
    while (!m_bStopping && !m_bFinishing && m_queue.empty()) m_condition.wait(lock);
    if (m_bStopping || m_queue.empty()) return nullptr;
    auto pBatch = std::move(m_queue.front());
    m_queue.pop_front();
    return pBatch;
}

void CDelivery::Run() {
    while (const auto pBatch = WaitForBatch()) Deliver(*pBatch);
}

void CDelivery::Deliver(const SEventBatch& batch) {
    VARIANT transaction{};
    transaction.vt = VT_I4;
    transaction.lVal = batch.nTransaction;
    if (batch.bReplace && !m_bStopping) Fire(EVENT_REPLACE, &transaction, 1);
    for (const SEventBatch::SItem& item : batch.arItems) {
        if (m_bStopping) return;
        VARIANT arArguments[] = {VARIANT{}, transaction};
        arArguments[0].bstrVal = MakeEventKey(item);
        if (!arArguments[0].bstrVal) continue;
        arArguments[0].vt = VT_BSTR;
        Fire(EVENT_UPDATE, arArguments, 2);
        SysFreeString(arArguments[0].bstrVal);
    }
}

/// A sink's failure is its own affair: the next event is sent as if it had succeeded.
void CDelivery::Fire(DISPID nEvent, VARIANT* pArguments, UINT nCount) {
    DISPPARAMS parameters{pArguments, nullptr, nCount, 0};
    m_sink->Invoke(nEvent, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
}

namespace {

/// Deliveries that were ended by their own sinks.
class CEndedDeliveries {
public:
    void Add(std::unique_ptr<CDelivery> pDelivery) {
        const CLock lock(m_mutex);
        m_arDeliveries.push_back(std::move(pDelivery));
    }

    void Sweep() {
        std::vector<std::unique_ptr<CDelivery>> arDone;
        const CLock lock(m_mutex);
        std::erase_if(m_arDeliveries, [&arDone](std::unique_ptr<CDelivery>& pDelivery) {
            if (!pDelivery->HasEnded()) return false;
            arDone.push_back(std::move(pDelivery));
            return true;
        });
    }

private:
    CMutex m_mutex;
    std::vector<std::unique_ptr<CDelivery>> m_arDeliveries QV_GUARDED_BY(m_mutex);
};

CEndedDeliveries& GetEndedDeliveries() {
    static CEndedDeliveries deliveries;
    return deliveries;
}

}  // namespace

void EndDelivery(std::unique_ptr<CDelivery> pDelivery, QueuedBatches queued) {
    if (queued == QueuedBatches::Delivered) {
        pDelivery->Finish();
    } else {
        pDelivery->Stop();
    }
    if (pDelivery->IsOwnThread()) {
        GetEndedDeliveries().Add(std::move(pDelivery));
    } else {
        GetEndedDeliveries().Sweep();
    }
}

}  // namespace qvant::store
