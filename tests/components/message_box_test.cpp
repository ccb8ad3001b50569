#include "qvant/message_box.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Boxes = std::vector<std::u16string>;

void Record(void* pContext, LPCOLESTR pszTitle, LPCOLESTR pszText) {
    static_cast<Boxes*>(pContext)->push_back(std::u16string(pszTitle) + u"|" + pszText);
}

TEST(MessageBox, GoesToTheSinkOfTheHost) {
    Boxes boxes;
    QvantSetMessageBoxSink(Record, &boxes);
    QvantShowMessageBox(u"Error", u"DbApi error");
    QvantShowMessageBox(nullptr, nullptr);
    QvantSetMessageBoxSink(nullptr, nullptr);
    EXPECT_EQ(boxes, (Boxes{u"Error|DbApi error", u"|"}));
}

TEST(MessageBox, BecomesALineOnStandardErrorWithoutASink) {
    testing::internal::CaptureStderr();
    QvantShowMessageBox(u"Error", u"DbApi error");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: DbApi error\n");
}

}  // namespace
