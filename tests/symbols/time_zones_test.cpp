#include "symbols/time_zones.h"

#include <fstream>

#include <gtest/gtest.h>

#include "platform/surroundings.h"
#include "symbols/manual_clock.h"

namespace qvant {
namespace {

class TimeZones : public testing::Test {
protected:
    void LoadCities(const std::string& strBytes) {
        std::ofstream(m_folder.GetPath() / "cities.txt", std::ios::binary) << strBytes;
        m_zones.LoadCities(m_folder / "cities.txt");
    }

    platform::CTestFolder m_folder;
    CTimeZones m_zones;
};

TEST_F(TimeZones, KeyCitiesInUpperCaseWithUnderscores) {
    LoadCities("New York,Eastern Standard Time\nTaipei,Taipei Standard Time");
    const TextMap mapExpected = {{u"NEW_YORK", u"Eastern Standard Time"}, {u"TAIPEI", u"Taipei Standard Time"}};
    EXPECT_EQ(m_zones.GetCities(), mapExpected);
}

TEST_F(TimeZones, TolerateWindowsLineEndsAndEmptyLines) {
    LoadCities("\r\nNew York,Eastern Standard Time\r\n\r\n,nowhere\r\n");
    const TextMap mapExpected = {{u"NEW_YORK", u"Eastern Standard Time"}};
    EXPECT_EQ(m_zones.GetCities(), mapExpected);
}

TEST_F(TimeZones, ReadCitiesInUtf16) {
    LoadCities("\xFF\xFE" + ToUtf16Bytes(u"São Paulo,E. South America Standard Time\r\n"));
    EXPECT_EQ(m_zones.GetCities().at(u"SÃO_PAULO"), u"E. South America Standard Time");
}

TEST_F(TimeZones, ReadCitiesInUtf8WithAMark) {
    LoadCities("\xEF\xBB\xBFTokyo,Tokyo Standard Time\n");
    EXPECT_EQ(m_zones.GetCities().at(u"TOKYO"), u"Tokyo Standard Time");
}

TEST_F(TimeZones, HaveNoCitiesWithoutAFile) {
    m_zones.LoadCities(m_folder / "missing.txt");
    EXPECT_TRUE(m_zones.GetCities().empty());
}

TEST_F(TimeZones, SurviveAFileOfJunk) {
    LoadCities(std::string("\xFF\xFE\x00\xD8,\x00\x0A", 7) + std::string(1000, '\xC3'));
    EXPECT_EQ(m_zones.FindCity(u"TAIPEI"), nullptr);
}

TEST_F(TimeZones, GiveTheRecordOfACity) {
    LoadCities("New York,Eastern Standard Time\nTaipei,Taipei Standard Time\nAtlantis,Sunken Standard Time\n");
    m_zones.LoadTimeZones(CManualClock(2024, 6, 1));
    ASSERT_NE(m_zones.FindCity(u"TAIPEI"), nullptr);
    EXPECT_EQ(m_zones.FindCity(u"TAIPEI")->bias, -480);
    ASSERT_NE(m_zones.FindCity(u"NEW_YORK"), nullptr);
    EXPECT_EQ(m_zones.FindCity(u"NEW_YORK")->bias, 300);
    EXPECT_EQ(m_zones.FindCity(u"NEW_YORK")->daylightDate.nMonth, 3);
    EXPECT_EQ(m_zones.FindCity(u"ATLANTIS"), nullptr);
    EXPECT_EQ(m_zones.FindCity(u"LONDON"), nullptr);
}

TEST_F(TimeZones, ListTheZonesOfTheMachine) {
    m_zones.LoadTimeZones(CManualClock(2024, 6, 1));
    EXPECT_GT(m_zones.GetZoneNames().size(), 100u);
    EXPECT_EQ(std::count(m_zones.GetZoneNames().begin(), m_zones.GetZoneNames().end(), u"Tokyo Standard Time"), 1);
}

}  // namespace
}  // namespace qvant
