#include "model/search_row_writer.h"

#include "model/symbol_search_row.h"
#include "store/record_databases.h"

namespace qvant {

bool CSearchRowWriter::Add(Form form, TextView strRow) {
    if (!m_pBatch) {
        m_pBatch = &m_arBatches[m_follower.GetPlace()];
        m_pBatch->nCount = 0;
        m_pBatch->strTexts.clear();
    }
    m_pBatch->strTexts.append(strRow);
    m_pBatch->arRows[m_pBatch->nCount++] = {form, m_pBatch->strTexts.size()};
    if (m_pBatch->nCount == Batch::MOST) HandOver();
    return !m_bRefused;
}

std::optional<CSearchRowWriter::Refusal> CSearchRowWriter::Finish() {
    if (m_pBatch) HandOver();
    m_follower.Finish();
    return m_refusal;
}

void CSearchRowWriter::HandOver() {
    m_pBatch = nullptr;
    m_follower.HandOver();
}

void CSearchRowWriter::Enter(const Batch& batch) {
    std::size_t nStart = 0;
    for (std::size_t i = 0; i < batch.nCount && !m_refusal; ++i) {
        const auto& [form, nEnd] = batch.arRows[i];
        const TextView strRow = TextView(batch.strTexts).substr(nStart, nEnd - nStart);
        const TextView strFields = form == Form::Contract ? CSymbolSearchRow::CONTRACT_FIELDS  //
                                                          : CSymbolSearchRow::SYNTHETIC_FIELDS;
        const std::int32_t nResult = m_database.InsertRecord(SEARCH_TABLE, strFields, strRow);
        if (nResult != 1) m_refusal = {form, nResult, Text(strRow)};
        nStart = nEnd;
    }
    if (m_refusal) m_bRefused = true;
}

}  // namespace qvant
