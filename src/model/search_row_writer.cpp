#include "model/search_row_writer.h"

#include "model/symbol_search_row.h"
#include "store/record_databases.h"

namespace qvant {

bool CSearchRowWriter::Add(Form form, TextView strRow) {
    if (!m_pBatch) {
        m_pBatch = &m_arBatches[m_follower.GetPlace()];
        m_pBatch->nCount = 0;
    }
    Row& row = m_pBatch->arRows[m_pBatch->nCount++];
    row.form = form;
    row.strText = strRow;
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
    for (std::size_t i = 0; i < batch.nCount && !m_refusal; ++i) {
        const Row& row = batch.arRows[i];
        const TextView strFields = row.form == Form::Contract ? CSymbolSearchRow::CONTRACT_FIELDS  //
                                                              : CSymbolSearchRow::SYNTHETIC_FIELDS;
        const std::int32_t nResult = m_database.InsertRecord(SEARCH_TABLE, strFields, row.strText);
        if (nResult != 1) m_refusal = {row.form, nResult, row.strText};
    }
    if (m_refusal) m_bRefused = true;
}

}  // namespace qvant
