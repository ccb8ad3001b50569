#include "rolls/roll_moments.h"

#include <gtest/gtest.h>

#include "base/format.h"
#include "base/split.h"

namespace qvant::test {

constexpr std::int64_t MOMENT = 20200306170000;

TEST(RollMoments, JoinsTheTitlesOfAMomentInTheOrderOfTheirComing) {
    CRollMoments files;
    files.Add(MOMENT, u"QV.F.CME.NQ.HOT_B");
    files.Add(MOMENT, u"QV.F.CME.ES.HOT_A");
    files.Add(MOMENT + 1, u"QV.F.CME.ES.HOT_A");
    EXPECT_EQ(files.Get(MOMENT), u"QV.F.CME.NQ.HOT_B,QV.F.CME.ES.HOT_A");
    EXPECT_EQ(files.Get(MOMENT + 1), u"QV.F.CME.ES.HOT_A");
}

TEST(RollMoments, HaveNothingAtAMomentThatWasNeverEntered) {
    CRollMoments files;
    EXPECT_EQ(files.Get(MOMENT), u"");
    files.Add(0, u"QV.F.CME.ES.HOT_A");
    EXPECT_EQ(files.Get(MOMENT), u"");
    EXPECT_EQ(files.Get(0), u"QV.F.CME.ES.HOT_A");
}

TEST(RollMoments, EnterATitleOnce) {
    CRollMoments files;
    for (int i = 0; i < 3; ++i) {
        files.Add(MOMENT, u"QV.F.CME.ES.HOT_A");
        files.Add(MOMENT, u"QV.F.CME.ES.HOT_C");
    }
    EXPECT_EQ(files.Get(MOMENT), u"QV.F.CME.ES.HOT_A,QV.F.CME.ES.HOT_C");
}

TEST(RollMoments, TakeATitleWithinALongerOneForEntered) {
    CRollMoments files;
    files.Add(MOMENT, u"QV.F.CME.ES.HOT_10");
    files.Add(MOMENT, u"QV.F.CME.ES.HOT_1");
    EXPECT_EQ(files.Get(MOMENT), u"QV.F.CME.ES.HOT_10");
    files.Add(MOMENT + 1, u"QV.F.CME.ES.HOT_1");
    files.Add(MOMENT + 1, u"QV.F.CME.ES.HOT_10");
    EXPECT_EQ(files.Get(MOMENT + 1), u"QV.F.CME.ES.HOT_1,QV.F.CME.ES.HOT_10");
}

TEST(RollMoments, KeepEachMomentsTitlesToItselfHoweverListsAreShared) {
    constexpr int FILES = 60;
    CRollMoments files;
    for (int nPass = 0; nPass < 2; ++nPass) {
        for (int nFile = 1; nFile <= FILES; ++nFile) {
            const Text strTitle = Format(u"QV.F.CME.ES.HOT_%03d", nFile);
            for (int nMoment = 1; nMoment <= FILES; ++nMoment) {
                if (nMoment % nFile == 0) files.Add(nMoment, strTitle);
            }
        }
    }
    for (int nMoment = 1; nMoment <= FILES; ++nMoment) {
        std::vector<Text> arExpected;
        for (int nFile = 1; nFile <= FILES; ++nFile) {
            if (nMoment % nFile == 0) arExpected.push_back(Format(u"QV.F.CME.ES.HOT_%03d", nFile));
        }
        EXPECT_EQ(files.Get(nMoment), Join(arExpected, u",")) << nMoment;
    }
}

}  // namespace qvant::test
