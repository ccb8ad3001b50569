#include <algorithm>
#include <cstdio>

#include "cell.h"
#include "output.h"

namespace qvant::host {

namespace {

constexpr std::size_t CELL_WIDTH = 100;  ///< columns of a value in a table; longer ones are cut
constexpr std::size_t KEY_WIDTH = 40;    ///< keys longer than this don't widen the column of the others
constexpr int KIND_WIDTH = 14;

std::string OneLine(TextView strText) { return MakeCell(strText, Text::npos - 2).strText; }

std::string Pad(const Cell& cell, std::size_t nWidth) {
    return cell.strText + std::string(nWidth > cell.nWidth ? nWidth - cell.nWidth : 0, ' ');
}

std::string ShowValue(const Value& value) {
    return std::holds_alternative<std::monostate>(value) ? "(none)" : OneLine(ToText(value));
}

/// A single field stands for itself; several are named.
std::string ShowFields(const EventFields& arFields) {
    if (arFields.size() == 1) return ShowValue(arFields.front().second);
    std::string strLine;
    for (const auto& [strName, value] : arFields) {
        const std::string strValue = OneLine(ToText(value));
        if (strValue.empty()) continue;
        if (!strLine.empty()) strLine += "  ";
        strLine.append(strName).append("=").append(strValue);
    }
    return strLine;
}

std::string ShowLine(const Event& event) {
    char szHead[64];
    std::snprintf(szHead, sizeof szHead, "%6llu %9.3f  %-*.*s  ", static_cast<unsigned long long>(event.nNumber),
                  static_cast<double>(event.nMilliseconds) / 1000, KIND_WIDTH, static_cast<int>(event.strKind.size()),
                  event.strKind.data());
    return szHead + ShowFields(event.arFields) + '\n';
}

std::string Counted(std::size_t nCount, const char* pszThing) {
    return std::to_string(nCount) + ' ' + pszThing + (nCount == 1 ? "" : "s");
}

std::string Summary(const TableContent& content) {
    return Counted(content.arValues.size(), "value") + ", " + Counted(content.arRows.size(), "row") + ", " +
           Counted(content.arTables.size(), "table");
}

using Lines = std::vector<std::pair<Cell, std::string>>;

/// A heading with the count, the lines in two columns, and how many are left out.
void ShowSection(std::string& strShown, const char* pszThing, std::size_t nCount, const Lines& arLines) {
    if (nCount == 0) return;
    strShown += Counted(nCount, pszThing) + '\n';
    std::size_t nWidth = 0;
    for (const auto& [key, strValue] : arLines)
        if (key.nWidth <= KEY_WIDTH) nWidth = std::max(nWidth, key.nWidth);
    for (const auto& [key, strValue] : arLines) strShown += "  " + Pad(key, nWidth) + "  " + strValue + '\n';
    if (arLines.size() < nCount) strShown += "  ... and " + std::to_string(nCount - arLines.size()) + " more\n";
}

Cell MakeKey(TextView strKey) { return MakeCell(strKey, CELL_WIDTH); }

std::string MakeValue(const Value& value) { return MakeCell(ToText(value), CELL_WIDTH).strText; }

std::string ShowTable(const TableContent& content, std::size_t nFirst) {
    std::string strShown;
    Lines arLines;
    for (std::size_t i = 0; i < std::min(nFirst, content.arValues.size()); ++i)
        arLines.emplace_back(MakeKey(content.arValues[i].first), MakeValue(content.arValues[i].second));
    ShowSection(strShown, "value", content.arValues.size(), arLines);
    arLines.clear();
    for (std::size_t i = 0; i < std::min(nFirst, content.arRows.size()); ++i)
        arLines.emplace_back(MakeKey(Widen(std::to_string(i))), MakeValue(content.arRows[i]));
    ShowSection(strShown, "row", content.arRows.size(), arLines);
    arLines.clear();
    for (std::size_t i = 0; i < std::min(nFirst, content.arTables.size()); ++i)
        arLines.emplace_back(MakeKey(content.arTables[i].strName), Summary(content.arTables[i].content));
    ShowSection(strShown, "table", content.arTables.size(), arLines);
    return strShown.empty() ? "(empty)\n" : strShown;
}

std::string ShowList(const std::vector<Text>& arList) {
    std::string strShown;
    for (const Text& strLine : arList) strShown += OneLine(strLine) + '\n';
    return strShown.empty() ? "(none)\n" : strShown;
}

/// The name of a column or a field for a person, who reads the unit behind the value.
Text Label(const Column& column) {
    std::string_view strName = column.strName;
    if (column.nForm == Form::Duration && strName.ends_with("_ms")) strName.remove_suffix(3);
    Text strLabel = Widen(strName);
    std::ranges::replace(strLabel, u'_', u' ');
    return strLabel;
}

using Cells = std::vector<Cell>;

/// Lines of cells below each other. A cell beyond the limit doesn't widen its column.
std::string Align(const std::vector<Cells>& arLines, std::size_t nLimit) {
    std::vector<std::size_t> arWidths;
    for (const Cells& arCells : arLines) {
        arWidths.resize(std::max(arWidths.size(), arCells.size()));
        for (std::size_t i = 0; i < arCells.size(); ++i)
            if (arCells[i].nWidth <= nLimit) arWidths[i] = std::max(arWidths[i], arCells[i].nWidth);
    }
    std::string strShown;
    for (const Cells& arCells : arLines) {
        for (std::size_t i = 0; i < arCells.size(); ++i) strShown += "  " + Pad(arCells[i], arWidths[i]);
        strShown.resize(strShown.find_last_not_of(' ') + 1);
        strShown += '\n';
    }
    return strShown;
}

std::string ShowListing(const Listing& listing) {
    std::string strShown = Counted(listing.nTotal, std::string(listing.strThing).c_str()) + '\n';
    if (listing.arRows.empty()) return strShown;
    std::vector<Cells> arLines(1);
    for (const Column& column : listing.arColumns) arLines.front().push_back(MakeCell(Label(column), CELL_WIDTH));
    for (const auto& arRow : listing.arRows) {
        Cells& arCells = arLines.emplace_back();
        for (std::size_t i = 0; i < arRow.size(); ++i)
            arCells.push_back(MakeCell(ToText(arRow[i], listing.arColumns[i].nForm), CELL_WIDTH));
    }
    strShown += Align(arLines, KEY_WIDTH);
    const std::size_t nMore = listing.nTotal - listing.arRows.size();
    return nMore > 0 ? strShown + "  ... and " + std::to_string(nMore) + " more\n" : strShown;
}

std::string ShowRecord(const Record& record) {
    std::vector<Cells> arLines;
    for (const auto& [column, value] : record.arFields) {
        const Text strText = ToText(value, column.nForm);
        if (!strText.empty()) arLines.push_back({MakeCell(Label(column), CELL_WIDTH), MakeCell(strText, CELL_WIDTH)});
    }
    return Align(arLines, KEY_WIDTH);
}

std::string ShowMember(const Reply& reply, std::string_view strName, const ReplyValue& member) {
    if (const auto* pContent = std::get_if<TableContent>(&member)) return ShowTable(*pContent, reply.nShownRows);
    if (const auto* pEvent = std::get_if<Event>(&member)) return ShowLine(*pEvent);
    if (const auto* pListing = std::get_if<Listing>(&member)) return ShowListing(*pListing);
    if (const auto* pRecord = std::get_if<Record>(&member)) return ShowRecord(*pRecord);
    const Value& value = std::get<Value>(member);
    if (const auto* pList = std::get_if<std::vector<Text>>(&value)) return ShowList(*pList);
    if (strName == "value") return ShowValue(value) + '\n';
    return std::string(strName) + ' ' + ShowValue(value) + "  ";
}

}  // namespace

void CTextOutput::ShowEvent(const Event& event) { m_writer.Write(ShowLine(event)); }

void CTextOutput::ShowReply(const Reply& reply) {
    std::string strShown;
    if (!reply.strError.empty()) strShown += "error: " + OneLine(Widen(reply.strError)) + '\n';
    for (const auto& [strName, member] : reply.arMembers) strShown += ShowMember(reply, strName, member);
    while (strShown.ends_with(' ')) strShown.pop_back();
    if (!strShown.ends_with('\n')) strShown += strShown.empty() ? "ok\n" : "\n";
    m_writer.Write(strShown);
}

}  // namespace qvant::host
