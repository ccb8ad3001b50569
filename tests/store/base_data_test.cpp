#include "store/base_data.h"

#include <gtest/gtest.h>

#include "base/failure.h"

namespace qvant {
namespace {

void Write(CBaseData& table, TextView strKey, TextView strValue) {
    CTransaction transaction(table);
    transaction.SetValue(strKey, strValue);
    transaction.Commit();
}

TEST(BaseData, ShowsWhatWasCommitted) {
    const auto pTable = CBaseData::CreateNew();
    ASSERT_TRUE(pTable);

    CTransaction transaction(*pTable);
    transaction.SetValue(u"QV.F.CME", u"22:00");
    EXPECT_EQ(pTable->GetString(u"QV.F.CME"), u"") << "nothing is seen before the commit";
    transaction.Commit();

    EXPECT_EQ(pTable->GetString(u"QV.F.CME"), u"22:00");
}

TEST(BaseData, DropsATransactionThatIsNotCommitted) {
    const auto pTable = CBaseData::CreateNew();
    ASSERT_TRUE(pTable);
    { CTransaction(*pTable).SetValue(u"k", u"v"); }
    EXPECT_EQ(pTable->GetVariant(u"k").vt, VT_EMPTY);
}

TEST(BaseData, OpensAChildOfATable) {
    const auto pParent = CBaseData::CreateNew();
    ASSERT_TRUE(pParent);
    bool bExisted = true;
    auto pChild = OpenChild(*pParent, u"Lumivale", &bExisted);
    ASSERT_TRUE(pChild);
    EXPECT_FALSE(bExisted);
    Write(*pChild, u"Version", u"7");

    pChild = OpenChild(*pParent, u"Lumivale", &bExisted);

    ASSERT_TRUE(pChild);
    EXPECT_TRUE(bExisted);
    EXPECT_EQ(pChild->GetString(u"Version"), u"7");
}

TEST(BaseData, PicksJsonMembers) {
    const auto pTable = CBaseData::CreateNew();
    ASSERT_TRUE(pTable);
    Write(*pTable, u"ES", u"{\"N\":\"E-mini\",\"P\":5,\"O\":{\"N\":\"inner\"},\"N\":\"second\"}");
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"N"), u"E-mini");
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"P"), u"");
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"X"), u"");
}

}  // namespace
}  // namespace qvant
