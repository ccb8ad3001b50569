#include "text_plot.h"

#include <algorithm>
#include <cmath>

#include "cell.h"

namespace qvant::host {

namespace {

constexpr std::size_t LEAST_WIDTH = 40;
constexpr std::size_t MOST_WIDTH = 400;
constexpr int VALUE_INTERVALS = 4;
constexpr std::size_t DATE_ROOM = 14;  ///< columns that a date's label and the room beside it take

/// Where the line leaves a cell; a cell's letter joins these ends.
enum End : unsigned { LEFT = 1, RIGHT = 2, UP = 4, DOWN = 8 };
constexpr TextView LETTERS = u" ╴╶─╵┘└┴╷┐┌┬│┤├┼";

/// The rows of the line.
class CCanvas {
public:
    CCanvas(std::size_t nColumns, std::size_t nRows) : m_arCells(nRows, std::vector<unsigned>(nColumns)) {}

    void Add(std::size_t nRow, std::size_t nColumn, unsigned nEnds) { m_arCells[nRow][nColumn] |= nEnds; }
    void AddVertical(std::size_t nFrom, std::size_t nTo, std::size_t nColumn) {
        const auto [nUpper, nLower] = std::minmax(nFrom, nTo);
        for (std::size_t nRow = nUpper; nRow < nLower; ++nRow) {
            Add(nRow, nColumn, DOWN);
            Add(nRow + 1, nColumn, UP);
        }
    }
    Text GetRow(std::size_t nRow) const {
        Text strRow;
        for (const unsigned nEnds : m_arCells[nRow]) strRow += LETTERS[nEnds];
        return strRow.substr(0, strRow.find_last_not_of(u' ') + 1);
    }

private:
    std::vector<std::vector<unsigned>> m_arCells;
};

std::size_t ToCell(double dPlace, std::size_t nCells) {
    const double dCell = std::round(dPlace * static_cast<double>(nCells - 1));
    return static_cast<std::size_t>(std::clamp(dCell, 0.0, static_cast<double>(nCells - 1)));
}

CCanvas DrawLine(const Plot& plot, const CValueScale& values, std::size_t nColumns, std::size_t nRows) {
    CCanvas canvas(nColumns, nRows);
    const CTimeScale times(plot);
    const auto RowOf = [&](const PlotStep& step) { return nRows - 1 - ToCell(values.GetPlace(step.dValue), nRows); };
    std::size_t nRow = RowOf(plot.arSteps.front());
    auto it = plot.arSteps.begin();
    for (std::size_t nColumn = 0; nColumn < nColumns; ++nColumn) {
        canvas.Add(nRow, nColumn, LEFT);
        for (; it != plot.arSteps.end() && ToCell(times.GetPlace(it->moment), nColumns) <= nColumn; ++it) {
            const std::size_t nNext = RowOf(*it);
            canvas.AddVertical(nRow, nNext, nColumn);
            nRow = nNext;
        }
        canvas.Add(nRow, nColumn, RIGHT);
    }
    return canvas;
}

/// The axis of the dates, and the labels below it. A label that would run into the one before is left out.
std::vector<Text> DrawDates(const Plot& plot, std::size_t nIndent, std::size_t nColumns) {
    Text strAxis = Text(nIndent, u' ') + u'└' + Text(nColumns, u'─');
    Text strLabels;
    for (const auto& mark : CTimeScale(plot).GetMarks(nColumns / DATE_ROOM)) {
        const std::size_t nPlace = nIndent + 1 + ToCell(mark.dPlace, nColumns);
        const std::size_t nHalf = mark.strLabel.size() / 2;
        const std::size_t nEnd = nIndent + 1 + nColumns;
        const std::size_t nStart = std::min(nPlace - std::min(nPlace, nHalf), nEnd - mark.strLabel.size());
        strAxis[nPlace] = u'┬';
        if (!strLabels.empty() && nStart < strLabels.size() + 1) continue;
        strLabels.resize(nStart, u' ');
        strLabels += Widen(mark.strLabel);
    }
    return {std::move(strAxis), std::move(strLabels)};
}

}  // namespace

std::vector<Text> DrawText(const Plot& plot, std::size_t nWidth, std::size_t nHeight) {
    nWidth = std::clamp(nWidth, LEAST_WIDTH, MOST_WIDTH);
    const CValueScale values(plot, VALUE_INTERVALS);
    std::vector<Text> arLabels(nHeight);
    std::size_t nIndent = 0;
    for (const auto& mark : values.GetMarks()) {
        Text& strLabel = arLabels[nHeight - 1 - ToCell(mark.dPlace, nHeight)];
        strLabel = Widen(mark.strLabel);
        nIndent = std::max(nIndent, strLabel.size() + 1);
    }
    const std::size_t nColumns = nWidth - nIndent - 2;  // the axis, and a column that no terminal wraps at
    const CCanvas canvas = DrawLine(plot, values, nColumns, nHeight);
    std::vector<Text> arLines{Widen(MakeCell(plot.strTitle, nWidth - 2).strText)};
    for (std::size_t nRow = 0; nRow < nHeight; ++nRow) {
        const Text& strLabel = arLabels[nRow];
        const Text strIndent(nIndent - 1 - std::min(strLabel.size(), nIndent - 1), u' ');
        arLines.push_back(strIndent + strLabel + u' ' + (strLabel.empty() ? u'│' : u'┤') + canvas.GetRow(nRow));
    }
    std::ranges::move(DrawDates(plot, nIndent, nColumns), std::back_inserter(arLines));
    return arLines;
}

}  // namespace qvant::host
