#include "refresh_pass.h"

namespace qvant::host {

namespace {

constexpr TextView SERVICE = u"<Lumivale> ";

/// @return true when the line has this beginning, which is then taken off
bool Take(TextView& strLine, TextView strBeginning) {
    if (!strLine.starts_with(strBeginning)) return false;
    strLine.remove_prefix(strBeginning.size());
    return true;
}

}  // namespace

std::optional<std::int64_t> CRefreshPass::FindTimer(TextView strLine) {
    return host::Take(strLine, SERVICE) && host::Take(strLine, u"OnLumTimer ID:") ? ParseInteger(strLine)
                                                                                  : std::nullopt;
}

void CRefreshPass::Take(TextView strLine) {
    const auto Is = [&strLine](TextView strBeginning) { return host::Take(strLine, strBeginning); };
    if (!Is(SERVICE)) return;
    if (Is(u"TimerQueryAll WaitForSingleObject")) {
        m_bBegun = true;
        m_strDoing = u"waiting for the symbols";
    } else if (Is(u"TimerQueryAll m_hEventSymbolLookUp Done") || Is(u"LoadSecuritiesInfo-End") ||
               Is(u"LoadContractList-End")) {
        m_strDoing = {};
    } else if (Is(u"TimerQueryAll Fail")) {
        m_bFailed = true;
    } else if (Is(u"QuerySecuritiesInfo-Start Url:")) {
        Ask(u"securities");
    } else if (Is(u"QueryContractList-Start:")) {
        Ask(strLine);
    } else if (Is(u"QuerySecuritiesInfo have SecuritiesInfo") || Is(u"QueryContractList-SaveVer:")) {
        SetAnswer(Answer::News);
    } else if (Is(u"QuerySecuritiesInfo Fail:") || Is(u"QuerySecuritiesInfo-URlError:") ||
               Is(u"QueryContractList Fail:") || Is(u"QueryContractList-URlError:") ||
               Is(u"QueryContractList Fill Open Fail")) {
        SetAnswer(Answer::Failed);
    } else if (Is(u"LoadSecuritiesInfo-Start")) {
        m_strDoing = u"loading the securities";
    } else if (Is(u"LoadContractList-Start")) {
        m_strDoing = u"loading the lists";
    }
}

/// The next server of the list is asked for the same document again.
void CRefreshPass::Ask(TextView strName) {
    if (m_arDocuments.empty() || m_arDocuments.back().strName != strName) m_arDocuments.push_back({Text(strName)});
    m_arDocuments.back().nAnswer = Answer::None;
}

void CRefreshPass::SetAnswer(Answer nAnswer) {
    if (!m_arDocuments.empty()) m_arDocuments.back().nAnswer = nAnswer;
}

Text CRefreshPass::Show(bool bEnded) const {
    Text strShown = u"refresh by timer " + Widen(std::to_string(m_nTimer));
    TextView strBefore = u": ";
    for (const Document& document : m_arDocuments) {
        const bool bOpen = !bEnded && m_strDoing.empty() && &document == &m_arDocuments.back();
        const TextView strNone = bOpen ? u"..." : u"no news";
        const TextView strAnswer = document.nAnswer == Answer::News     ? TextView(u"version up")
                                   : document.nAnswer == Answer::Failed ? TextView(u"failed")
                                                                        : strNone;
        strShown.append(strBefore).append(document.strName).append(u" ").append(strAnswer);
        strBefore = u", ";
    }
    if (!bEnded && !m_strDoing.empty()) strShown.append(strBefore).append(m_strDoing);
    if (m_bFailed) strShown.append(strBefore).append(u"failed");
    return strShown;
}

}  // namespace qvant::host
