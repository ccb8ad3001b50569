#include "qvant/message_box.h"

#include <cstdio>
#include <new>

#include "base/mutex.h"
#include "base/text.h"

namespace {

/// Shared by the calls that run, so that the sink is taken back only after they have ended.
qvant::CSharedMutex g_mutex;
QvantMessageBoxSink g_pSink QV_GUARDED_BY(g_mutex) = nullptr;
void* g_pContext QV_GUARDED_BY(g_mutex) = nullptr;

void PrintLine(LPCOLESTR pszTitle, LPCOLESTR pszText) {
    const std::string strLine = qvant::Narrow(pszTitle) + ": " + qvant::Narrow(pszText) + "\n";
    std::fputs(strLine.c_str(), stderr);
}

}  // namespace

void QvantSetMessageBoxSink(QvantMessageBoxSink pSink, void* pContext) {
    const qvant::CLock lock(g_mutex);
    g_pSink = pSink;
    g_pContext = pContext;
}

void QvantShowMessageBox(LPCOLESTR pszTitle, LPCOLESTR pszText) {
    if (!pszTitle) pszTitle = u"";
    if (!pszText) pszText = u"";
    const qvant::CSharedLock lock(g_mutex);
    if (g_pSink) return g_pSink(g_pContext, pszTitle, pszText);
    try {
        PrintLine(pszTitle, pszText);
    } catch (const std::bad_alloc&) {
        std::fputs("a message box without the memory for its text\n", stderr);
    }
}
