#include "record_rows.h"

#include <algorithm>
#include <new>

#include "module.h"

namespace qvant::database {
namespace {

class CRecord final : public IRecord {
public:
    CRecord(std::shared_ptr<const SRecordBlock> pBlock, std::size_t nRow) : m_pBlock(std::move(pBlock)), m_nRow(nRow) {
        GetModule().AddObject();
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (!ppvObject) return E_POINTER;
        *ppvObject = riid == IID_IUnknown ? this : nullptr;
        if (!*ppvObject) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG nLeft = --m_nReferences;
        if (nLeft == 0) delete this;
        return nLeft;
    }

    BSTR STDMETHODCALLTYPE GetField(LPCOLESTR pszName, UINT nLength) override {
        try {
            const auto& arColumns = *m_pBlock->pColumns;
            const auto found = std::find(arColumns.begin(), arColumns.end(), Narrow(TextView(pszName, nLength)));
            if (found == arColumns.end()) return nullptr;
            const Text strText = Widen(m_pBlock->GetField(m_nRow, static_cast<std::size_t>(found - arColumns.begin())));
            return SysAllocStringLen(strText.data(), static_cast<UINT>(strText.size()));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }

private:
    ~CRecord() { GetModule().RemoveObject(); }

    std::atomic<ULONG> m_nReferences{1};
    const std::shared_ptr<const SRecordBlock> m_pBlock;
    const std::size_t m_nRow;
};

}  // namespace

std::string_view SRecordBlock::GetField(std::size_t nRow, std::size_t nColumn) const {
    const std::size_t nField = nRow * pColumns->size() + nColumn;
    const std::size_t nStart = nField == 0 ? 0 : arEnds[nField - 1];
    return std::string_view(strBytes).substr(nStart, arEnds[nField] - nStart);
}

CRecords::CRecords(SQueryResult result, std::weak_ptr<IBlockReader> pReader)
    : m_result(std::move(result)), m_pReader(std::move(pReader)), m_pBlock(m_result.pBlock) {
    GetModule().AddObject();
}

CRecords::~CRecords() { GetModule().RemoveObject(); }

HRESULT CRecords::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    *ppvObject = riid == IID_IUnknown ? this : nullptr;
    if (!*ppvObject) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG CRecords::Release() {
    const ULONG nLeft = --m_nReferences;
    if (nLeft == 0) delete this;
    return nLeft;
}

IRecord* CRecords::GetRecord(LONG nIndex) {
    if (nIndex < 0 || nIndex >= GetCount()) return nullptr;
    try {
        const auto nRow = static_cast<std::size_t>(nIndex);
        auto pBlock = FindBlock(nRow);
        if (!pBlock) return nullptr;
        const std::size_t nInBlock = nRow - pBlock->nFirst;
        return new CRecord(std::move(pBlock), nInBlock);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::shared_ptr<const SRecordBlock> CRecords::FindBlock(std::size_t nRow) {
    const auto holds = [nRow](const SRecordBlock& block) {
        return nRow >= block.nFirst && nRow - block.nFirst < block.CountRows();
    };
    const CLock lock(m_mutex);
    if (holds(*m_result.pBlock)) return m_result.pBlock;
    if (holds(*m_pBlock)) return m_pBlock;
    const auto pReader = m_pReader.lock();
    auto pBlock = pReader ? pReader->ReadBlock(m_result, nRow) : nullptr;
    if (pBlock) m_pBlock = pBlock;
    return pBlock;
}

}  // namespace qvant::database
