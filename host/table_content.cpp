#include "table_content.h"

#include <algorithm>

#include "failure.h"
#include "tables.h"

namespace qvant::host {

namespace {

class CContentReader final : public IQvantTableVisitor {
public:
    void STDMETHODCALLTYPE OnRow(LONG nIndex, const VARIANT* pValue) override {
        const auto nRow = static_cast<std::size_t>(nIndex);
        if (m_content.arRows.size() <= nRow) m_content.arRows.resize(nRow + 1);
        m_content.arRows[nRow] = FromVariant(*pValue);
    }
    void STDMETHODCALLTYPE OnValue(const OLECHAR* pszKey, UINT nLength, const VARIANT* pValue) override {
        m_content.arValues.emplace_back(Text(pszKey, nLength), FromVariant(*pValue));
    }
    void STDMETHODCALLTYPE OnTable(const OLECHAR* pszName, UINT nLength, IDispatch* pTable) override {
        m_arTables.emplace_back(Text(pszName, nLength), CStoreTable(ComPtr<IDispatch>::Share(pTable)));
    }

    TableContent m_content;
    std::vector<std::pair<Text, CStoreTable>> m_arTables;
};

TableContent ReadLevel(const CStoreTable& table, std::size_t nLevel) {
    if (nLevel > CTables::PATH_LIMIT) throw CFailure("the tables nest too deep");
    CContentReader reader;
    if (FAILED(table.Owner()->Visit(&reader))) throw CFailure("the table can't be read");
    // The store has no order of its own for names. A dump that can be compared with another one needs one.
    std::ranges::sort(reader.m_content.arValues, {}, &std::pair<Text, Value>::first);
    std::ranges::sort(reader.m_arTables, {}, &std::pair<Text, CStoreTable>::first);
    for (const auto& [strName, subTable] : reader.m_arTables)
        reader.m_content.arTables.push_back({strName, ReadLevel(subTable, nLevel + 1)});
    return std::move(reader.m_content);
}

}  // namespace

TableContent ReadTable(const CStoreTable& table) { return ReadLevel(table, 0); }

}  // namespace qvant::host
