#include "platform/module.h"

#include <gtest/gtest.h>

#include "platform/files.h"
#include "surroundings.h"

namespace qvant::platform {
namespace {

/// The machine's and the user's registry in folders of their own.
class Registry : public testing::Test {
protected:
    const CTestFolder m_machine;
    const CTestFolder m_user;
    const CVariable m_common{"LUMIVALE_COMMON_DATA", m_machine.GetPath().string()};
    const CVariable m_home{"HOME", m_user.GetPath().string()};
};

constexpr TextView CLASS_KEY = u"HKCR\\CLSID\\{E7E0DDCC-7EC0-46AA-8B47-C10DF05470BA}";

TEST_F(Registry, LiesInTheDataFolders) {
    EXPECT_EQ(GetRegistryPath(false), m_machine / "Qvant/registry.ini");
    EXPECT_EQ(GetRegistryPath(true), m_user / ".local/share/Qvant/registry.ini");
}

TEST_F(Registry, GivesBackWhatWasWritten) {
    const Text strServer = Text(CLASS_KEY) + u"\\InprocServer32";
    ASSERT_TRUE(WriteRegistry(false, {{Text(CLASS_KEY), u"", u"Lumivale Class"},
                                      {strServer, u"", u"/opt/a b/liblumivale.so"},
                                      {strServer, u"ThreadingModel", u"Free"},
                                      {Text(CLASS_KEY) + u"\\Programmable", u"", u""}}));
    EXPECT_EQ(ReadRegistry(CLASS_KEY, u""), u"Lumivale Class");
    EXPECT_EQ(ReadRegistry(strServer, u""), u"/opt/a b/liblumivale.so");
    EXPECT_EQ(ReadRegistry(ToLower(strServer), u"threadingmodel"), u"Free");
    EXPECT_EQ(ReadRegistry(Text(CLASS_KEY) + u"\\Programmable", u""), u"");
}

TEST_F(Registry, GivesNothingForWhatIsNotThere) {
    EXPECT_EQ(ReadRegistry(CLASS_KEY, u""), std::nullopt);
    ASSERT_TRUE(WriteRegistry(false, {{Text(CLASS_KEY), u"", u"x"}}));
    EXPECT_EQ(ReadRegistry(CLASS_KEY, u"ThreadingModel"), std::nullopt);
    EXPECT_EQ(ReadRegistry(u"HKCR\\CLSID", u""), std::nullopt);
}

TEST_F(Registry, KeepsBlanksQuotesAndSeparatorsOfAValue) {
    const Text strValue = u" \"a\" = 'b' ; [c] \u53F0 ";
    ASSERT_TRUE(WriteRegistry(false, {{u"HKCR\\k", u"n", strValue}}));
    EXPECT_EQ(ReadRegistry(u"HKCR\\k", u"n"), strValue);
}

TEST_F(Registry, RefusesWhatWouldNotComeBack) {
    EXPECT_FALSE(WriteRegistry(false, {{u"HKCR\\k", u"n", u"a\nb"}}));
    EXPECT_FALSE(WriteRegistry(false, {{u"HKCR\\k", u"a=b", u"v"}}));
    EXPECT_FALSE(WriteRegistry(false, {{u"HKCR\\k", u"@", u"v"}}));
    EXPECT_FALSE(WriteRegistry(false, {{u"HKCR\\k", u"", u"v"}, {u"HKCR\\k\r", u"", u"v"}}));
    EXPECT_EQ(m_machine.CountFiles(), 0U) << "all of the values or none";
}

TEST_F(Registry, PrefersTheUsersOwn) {
    ASSERT_TRUE(WriteRegistry(false, {{u"HKCR\\k", u"", u"machine"}, {u"HKCR\\m", u"", u"machine"}}));
    ASSERT_TRUE(WriteRegistry(true, {{u"HKCR\\k", u"", u"user"}}));
    EXPECT_EQ(ReadRegistry(u"HKCR\\k", u""), u"user");
    EXPECT_EQ(ReadRegistry(u"HKCR\\m", u""), u"machine");
}

TEST_F(Registry, RemovesKeysWithAllThatIsBelowThem) {
    ASSERT_TRUE(WriteRegistry(false, {{u"HKCR\\Qvant.Lumivale", u"", u"a"},
                                      {u"HKCR\\Qvant.Lumivale\\CurVer", u"", u"b"},
                                      {u"HKCR\\Qvant.Lumivale.1", u"", u"c"}}));
    ASSERT_TRUE(RemoveRegistryKeys(false, {u"hkcr\\qvant.lumivale"}));
    EXPECT_EQ(ReadRegistry(u"HKCR\\Qvant.Lumivale", u""), std::nullopt);
    EXPECT_EQ(ReadRegistry(u"HKCR\\Qvant.Lumivale\\CurVer", u""), std::nullopt);
    EXPECT_EQ(ReadRegistry(u"HKCR\\Qvant.Lumivale.1", u""), u"c");
}

TEST_F(Registry, HasNothingToRemoveWithoutAFile) {
    EXPECT_TRUE(RemoveRegistryKeys(true, {u"HKCR\\k"}));
    EXPECT_EQ(m_user.CountFiles(), 0U);
}

TEST_F(Registry, TellsWhenItCannotBeWritten) {
    ASSERT_TRUE(WriteNewFile(m_machine / "Qvant", "a file where the folder should be"));
    EXPECT_FALSE(WriteRegistry(false, {{u"HKCR\\k", u"", u"v"}}));
}

TEST(GetModulePath, NamesTheProgramAndItsLibraries) {
    static const int nHere = 0;
    EXPECT_EQ(GetModulePath(&nHere), GetExecutablePath());
    EXPECT_EQ(GetModulePath(nullptr), u"");
}

TEST(LoadModule, GivesTheExportsOfALibrary) {
    void* hModule = LoadModule(Widen(LOADED_MODULE));
    ASSERT_NE(hModule, nullptr);
    void* pExport = FindExport(hModule, "AddOne");
    ASSERT_NE(pExport, nullptr);
    EXPECT_EQ(reinterpret_cast<int (*)(int)>(pExport)(41), 42);
    EXPECT_TRUE(GetModulePath(pExport).ends_with(u"test_platform_module.so"));
    EXPECT_EQ(FindExport(hModule, "SubtractOne"), nullptr);
}

TEST(LoadModule, GivesNullForWhatIsNoLibrary) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / "broken.so",
                             "\x7F"
                             "ELF and then nothing"));
    EXPECT_EQ(LoadModule(folder / "broken.so"), nullptr);
    EXPECT_EQ(LoadModule(folder / "none.so"), nullptr);
    EXPECT_EQ(LoadModule(u""), nullptr) << "no name isn't the program itself";
    EXPECT_EQ(FindExport(nullptr, "AddOne"), nullptr);
}

}  // namespace
}  // namespace qvant::platform
