#include "symbol_search.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <limits>
#include <tuple>

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>

#include "failure.h"

namespace qvant::host {

namespace {

constexpr const char* QUERY =
    "SELECT \"Symbol\", \"SearchID\", \"Instrument\", \"Product\", \"Name\", \"SearchName\", \"Spell\", \"Exchange\", "
    "\"ExpDate\", \"TypeNum\" FROM \"SymbolSearch\"";

enum Column : std::size_t { SYMBOL, SEARCH_ID, INSTRUMENT, PRODUCT, NAME, SEARCH_NAME, SPELL, EXCHANGE, EXPIRY, TYPE };
constexpr std::size_t ID_COLUMNS = 4;           ///< the first ones: a word can be all of them
constexpr std::size_t SEARCHED_COLUMNS = 7;     ///< the product adds none that the symbol hasn't
constexpr std::size_t SEARCHED_BYTES = 65'536;  ///< of a column; no name is that long

enum Rank : int { WHOLE, BEGINNING, ANYWHERE };

/// Text without case. What isn't valid becomes U+FFFD.
class CFolder {
public:
    CFolder() {
        UErrorCode nError = U_ZERO_ERROR;
        m_pMap = ucasemap_open("", U_FOLD_CASE_DEFAULT, &nError);
        if (U_FAILURE(nError)) throw CFailure("no case mapping");
    }
    CFolder(const CFolder&) = delete;
    CFolder& operator=(const CFolder&) = delete;
    ~CFolder() { ucasemap_close(m_pMap); }

    void Fold(std::string_view strText, std::string& strFolded) const {
        strFolded.resize(strText.size());
        bool bAscii = true;
        for (std::size_t i = 0; i < strText.size(); ++i) {
            const char ch = strText[i];
            strFolded[i] = ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch - 'A' + 'a') : ch;
            bAscii = bAscii && static_cast<unsigned char>(ch) < 0x80;
        }
        if (!bAscii) FoldAll(strText, strFolded);
    }

private:
    void FoldAll(std::string_view strText, std::string& strFolded) const {
        // No folding makes more than three bytes of one.
        strFolded.resize(strText.size() * 3);
        UErrorCode nError = U_ZERO_ERROR;
        const std::int32_t nSize =
            ucasemap_utf8FoldCase(m_pMap, strFolded.data(), static_cast<std::int32_t>(strFolded.size()), strText.data(),
                                  static_cast<std::int32_t>(strText.size()), &nError);
        strFolded.resize(U_SUCCESS(nError) ? static_cast<std::size_t>(nSize) : 0);
    }

    UCaseMap* m_pMap = nullptr;
};

/// The words of a text, in UTF-8 and without case.
std::vector<std::string> ReadWords(TextView strText, const CFolder& folder) {
    constexpr TextView BLANKS = u" \t\u3000";
    std::vector<std::string> arWords;
    std::size_t nStart = 0;
    while ((nStart = strText.find_first_not_of(BLANKS, nStart)) != TextView::npos) {
        const std::size_t nEnd = std::min(strText.find_first_of(BLANKS, nStart), strText.size());
        folder.Fold(Narrow(strText.substr(nStart, nEnd - nStart)), arWords.emplace_back());
        nStart = nEnd;
    }
    if (arWords.empty()) throw CFailure("there is nothing to look for");
    return arWords;
}

struct Hit {
    int nRank = 0;
    int nType = 0;
    std::size_t nRow = 0;
    std::vector<Value> arCells;

    bool operator<(const Hit& other) const {
        return std::tie(nRank, nType, nRow) < std::tie(other.nRank, other.nType, other.nRow);
    }
};

/// Takes the rows one after the other and keeps the best of those that match.
class CSearch {
public:
    CSearch(TextView strText, std::size_t nFirst) : m_arWords(ReadWords(strText, m_folder)), m_nFirst(nFirst) {}

    void Take(const CSearchRow& row) {
        for (std::size_t i = 0; i < SEARCHED_COLUMNS; ++i)
            m_folder.Fold(row.GetText(i).substr(0, SEARCHED_BYTES), m_arFolded[i]);
        Hit hit{0, TypeOf(row.GetText(TYPE)), m_nRow++, {}};
        for (const std::string& strWord : m_arWords) {
            const int nRank = RankOf(strWord);
            if (nRank < 0) return;
            hit.nRank += nRank;
        }
        ++m_nTotal;
        if (m_nFirst == 0 || (m_arHits.size() == m_nFirst && m_arHits.front() < hit)) return;
        for (const Column nColumn : {SYMBOL, NAME, SEARCH_ID, EXCHANGE, EXPIRY})
            hit.arCells.emplace_back(Widen(row.GetText(nColumn)));
        Keep(std::move(hit));
    }

    Listing Finish() {
        std::ranges::sort_heap(m_arHits, std::less());
        Listing listing{"symbol", {"symbol", "name", "search_id", "exchange", "expiry"}, {}, m_nTotal};
        for (Hit& hit : m_arHits) listing.arRows.push_back(std::move(hit.arCells));
        return listing;
    }

private:
    /// The classes count from 1; a symbol without one comes behind them.
    static int TypeOf(std::string_view strNumber) {
        int nType = 0;
        std::from_chars(strNumber.data(), strNumber.data() + strNumber.size(), nType);
        return nType > 0 ? nType : std::numeric_limits<int>::max();
    }

    /// @return below 0 when the word doesn't occur
    int RankOf(const std::string& strWord) const {
        int nRank = -1;
        for (std::size_t i = 0; i < SEARCHED_COLUMNS; ++i) {
            const std::size_t nFound = m_arFolded[i].find(strWord);
            if (nFound == std::string::npos) continue;
            if (nFound == 0 && i < ID_COLUMNS && m_arFolded[i].size() == strWord.size()) return WHOLE;
            if (nFound == 0) nRank = BEGINNING;
            if (nRank < 0) nRank = ANYWHERE;
        }
        return nRank;
    }

    /// A heap whose front is the worst of those that are kept.
    void Keep(Hit hit) {
        if (m_arHits.size() == m_nFirst) {
            std::ranges::pop_heap(m_arHits, std::less());
            m_arHits.pop_back();
        }
        m_arHits.push_back(std::move(hit));
        std::ranges::push_heap(m_arHits, std::less());
    }

    const CFolder m_folder;
    const std::vector<std::string> m_arWords;
    const std::size_t m_nFirst;
    std::array<std::string, SEARCHED_COLUMNS> m_arFolded;
    std::vector<Hit> m_arHits;
    std::size_t m_nRow = 0;
    std::size_t m_nTotal = 0;
};

}  // namespace

Listing FindSymbols(CSearchDatabase& database, TextView strText, std::size_t nFirst) {
    CSearch search(strText, nFirst);
    database.Query(QUERY, {}, [&search](const CSearchRow& row) {
        search.Take(row);
        return true;
    });
    return search.Finish();
}

}  // namespace qvant::host
