#include "svg_plot.h"

#include <cstdio>

namespace qvant::host {

namespace {

constexpr int WIDTH = 960;
constexpr int HEIGHT = 480;
constexpr int LEFT = 90;
constexpr int RIGHT = 30;
constexpr int TOP = 50;
constexpr int BOTTOM = 50;
constexpr int VALUE_INTERVALS = 6;
constexpr std::size_t MOST_DATES = 10;

template <typename... Arguments>
std::string Print(const char* pszFormat, Arguments... arguments) {
    char szText[256];
    std::snprintf(szText, sizeof szText, pszFormat, arguments...);
    return szText;
}

double XOf(double dPlace) { return LEFT + dPlace * (WIDTH - LEFT - RIGHT); }
double YOf(double dPlace) { return HEIGHT - BOTTOM - dPlace * (HEIGHT - TOP - BOTTOM); }

/// The text between two tags. What XML has no place for becomes U+FFFD.
std::string Escape(TextView strText) {
    Text strEscaped;
    for (const char16_t ch : strText) {
        switch (ch) {
            case u'&':
                strEscaped += u"&amp;";
                break;
            case u'<':
                strEscaped += u"&lt;";
                break;
            case u'>':
                strEscaped += u"&gt;";
                break;
            default:
                strEscaped += ch < u' ' || (ch >= u'\x7F' && ch < u'\xA0') || ch >= u'\xFFFE' ? u'\xFFFD' : ch;
        }
    }
    return Narrow(strEscaped);
}

std::string DrawValues(const CValueScale& values) {
    std::string strDrawn;
    for (const auto& mark : values.GetMarks()) {
        const double dY = YOf(mark.dPlace);
        strDrawn +=
            Print("<line class=\"grid\" x1=\"%d\" y1=\"%.2f\" x2=\"%d\" y2=\"%.2f\"/>\n", LEFT, dY, WIDTH - RIGHT, dY);
        strDrawn += Print("<text x=\"%d\" y=\"%.2f\" dy=\"4\" text-anchor=\"end\">%s</text>\n", LEFT - 8, dY,
                          mark.strLabel.c_str());
    }
    return strDrawn;
}

std::string DrawDates(const CTimeScale& times) {
    std::string strDrawn;
    for (const auto& mark : times.GetMarks(MOST_DATES)) {
        const double dX = XOf(mark.dPlace);
        strDrawn += Print("<line class=\"axis\" x1=\"%.2f\" y1=\"%d\" x2=\"%.2f\" y2=\"%d\"/>\n", dX, HEIGHT - BOTTOM,
                          dX, HEIGHT - BOTTOM + 6);
        strDrawn += Print("<text x=\"%.2f\" y=\"%d\" text-anchor=\"middle\">%s</text>\n", dX, HEIGHT - BOTTOM + 22,
                          mark.strLabel.c_str());
    }
    return strDrawn;
}

std::string DrawSteps(const Plot& plot, const CValueScale& values, const CTimeScale& times) {
    std::string strPath = "<path class=\"steps\" d=\"";
    const PlotStep* pLast = nullptr;
    for (const PlotStep& step : plot.arSteps) {
        const double dX = XOf(times.GetPlace(step.moment));
        const double dY = YOf(values.GetPlace(step.dValue));
        strPath += Print(pLast ? " H%.2f V%.2f" : "M%.2f %.2f", dX, dY);
        pLast = &step;
    }
    return strPath + Print(" H%.2f\"/>\n", XOf(1));
}

}  // namespace

std::string DrawSvg(const Plot& plot) {
    const CValueScale values(plot, VALUE_INTERVALS);
    const CTimeScale times(plot);
    const std::string strTitle = Escape(plot.strTitle);
    std::string strDrawn =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
        Print("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\">\n", WIDTH,
              HEIGHT, WIDTH, HEIGHT);
    strDrawn += "<title>" + strTitle + "</title>\n";
    strDrawn +=
        "<style>text{font:12px sans-serif;fill:#333}.title{font-size:16px}.grid{stroke:#ddd}.axis{stroke:#333}"
        ".steps{fill:none;stroke:#1668b8;stroke-width:2}</style>\n";
    strDrawn += Print("<rect width=\"%d\" height=\"%d\" fill=\"#fff\"/>\n", WIDTH, HEIGHT);
    strDrawn += Print("<text class=\"title\" x=\"%d\" y=\"%d\">", LEFT, TOP - 20) + strTitle + "</text>\n";
    strDrawn += DrawValues(values) + DrawDates(times);
    strDrawn +=
        Print("<path class=\"axis\" fill=\"none\" d=\"M%d %d V%d H%d\"/>\n", LEFT, TOP, HEIGHT - BOTTOM, WIDTH - RIGHT);
    return strDrawn + DrawSteps(plot, values, times) + "</svg>\n";
}

}  // namespace qvant::host
