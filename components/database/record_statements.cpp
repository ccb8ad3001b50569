#include "record_statements.h"

#include <algorithm>
#include <cstring>

#include "base/split.h"

namespace qvant::database {
namespace {

constexpr std::size_t MOST_STATEMENTS = 32;

/// A name can't hold a NUL: the text of a statement ends there.
void CheckName(TextView strName) {
    if (strName.empty() || Contains(strName, TextView(u"\0", 1))) {
        throw common::CSqliteError(SQLITE_MISUSE, "a name that can't be used");
    }
}

/// Compares at once; the library compares wide text unit by unit, and the fields of an insert are long.
bool IsSame(const Text& strA, TextView strB) {
    return strA.size() == strB.size() &&
           (strA.empty() || std::memcmp(strA.data(), strB.data(), strB.size() * sizeof(char16_t)) == 0);
}

std::string Join(const std::vector<std::string>& arPieces, std::string_view strBetween, std::string_view strBehind) {
    std::string strAll;
    for (const std::string& strPiece : arPieces) {
        if (!strAll.empty()) strAll += strBetween;
        strAll.append(strPiece).append(strBehind);
    }
    return strAll;
}

std::string MakeInsertSql(TextView strTable, TextView strFields) {
    const std::vector<std::string> arFields = QuoteFields(strFields);
    return "INSERT INTO " + QuoteName(strTable) + "(" + Join(arFields, ",", "") + ") VALUES(" +
           Join(std::vector<std::string>(arFields.size(), "?"), ",", "") + ")";
}

std::string MakeSql(CRecordStatements::Kind kind, TextView strTable, TextView strFields) {
    using Kind = CRecordStatements::Kind;
    const auto condition = [&] { return QuoteName(strFields) + " = ?"; };
    switch (kind) {
        case Kind::Insert:
            return MakeInsertSql(strTable, strFields);
        case Kind::Query:
            return "SELECT rowid, * FROM " + QuoteName(strTable) + " WHERE " + condition() + " ORDER BY rowid";
        case Kind::QueryAll:
            return "SELECT rowid, * FROM " + QuoteName(strTable) + " ORDER BY rowid";
        case Kind::RowIdsOfAll:
            return "SELECT rowid FROM " + QuoteName(strTable) + " ORDER BY rowid LIMIT -1 OFFSET ?";
        case Kind::Fetch:
            return "SELECT rowid, * FROM " + QuoteName(strTable) + " WHERE rowid = ? AND " + condition();
        case Kind::FetchOfAll:
            return "SELECT rowid, * FROM " + QuoteName(strTable) + " WHERE rowid = ?";
        case Kind::Delete:
            return "DELETE FROM " + QuoteName(strTable) + " WHERE " + condition();
        default:
            return "DELETE FROM " + QuoteName(strTable);
    }
}

}  // namespace

std::string QuoteName(TextView strName) {
    CheckName(strName);
    Text strQuoted(strName);
    ReplaceAll(strQuoted, u"\"", u"\"\"");
    return '"' + Narrow(strQuoted) + '"';
}

std::vector<std::string> QuoteFields(TextView strFields) {
    std::vector<std::string> arFields;
    for (const Text& strField : SplitFields(strFields, u",")) arFields.push_back(QuoteName(strField));
    return arFields;
}

Text GetKeyIndexName(TextView strTable) { return Text(u"key of ").append(strTable); }

std::string MakeCreateTableSql(TextView strTable, TextView strFields) {
    return "CREATE TABLE IF NOT EXISTS " + QuoteName(strTable) + "(" + Join(QuoteFields(strFields), ",", " TEXT") + ")";
}

std::string MakeCreateIndexSql(TextView strTable, const std::string& strQuotedColumn) {
    return "CREATE INDEX IF NOT EXISTS " + QuoteName(GetKeyIndexName(strTable)) + " ON " + QuoteName(strTable) + "(" +
           strQuotedColumn + ")";
}

CRecordStatements::SPrepared& CRecordStatements::Get(sqlite3* pConnection, Kind kind, TextView strTable,
                                                     TextView strFields) {
    const auto found = std::find_if(m_statements.begin(), m_statements.end(), [&](const SPrepared& prepared) {
        return prepared.kind == kind && IsSame(prepared.strTable, strTable) && IsSame(prepared.strFields, strFields);
    });
    if (found != m_statements.end()) {
        if (found != m_statements.begin()) m_statements.splice(m_statements.begin(), m_statements, found);
        return m_statements.front();
    }
    const std::string strSql = MakeSql(kind, strTable, strFields);
    const auto nFields = 1 + static_cast<std::size_t>(std::count(strFields.begin(), strFields.end(), u','));
    common::CStatement statement(pConnection, strSql.c_str());
    m_statements.push_front(
        {kind, Text(strTable), Text(strFields), std::vector<std::string>(nFields), std::move(statement), nullptr});
    if (m_statements.size() > MOST_STATEMENTS) m_statements.pop_back();
    return m_statements.front();
}

}  // namespace qvant::database
