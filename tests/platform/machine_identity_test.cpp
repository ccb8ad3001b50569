#include "platform/machine_identity.h"

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/surroundings.h"

namespace qvant::platform {
namespace {

using testing::IsEmpty;
using testing::MatchesRegex;

/// A folder laid out as the system's list of block devices.
class DiskIdentityTest : public testing::Test {
protected:
    void Write(const std::string& strName, std::string_view strBytes) {
        const auto file = m_folder.GetPath() / strName;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << strBytes;
    }
    void AddDisk(const std::string& strName, const std::string& strModel, const std::string& strSerial) {
        Write(strName + "/device/model", strModel);
        Write(strName + "/device/serial", strSerial);
    }
    DiskIdentity Read() const { return ReadDiskIdentity(Widen(m_folder.GetPath().string())); }

    CTestFolder m_folder;
};

TEST_F(DiskIdentityTest, ADiskTellsItsModelAndItsSerialNumberWithoutWhatPadsThem) {
    AddDisk("nvme0n1", "Northwind SSD 970  1TB                 \n", "   S4EVNX0R123456      \n");
    EXPECT_EQ(Read().strModel, u"Northwind SSD 970  1TB");
    EXPECT_EQ(Read().strSerial, u"S4EVNX0R123456");
}

TEST_F(DiskIdentityTest, OfSeveralDisksTheLastOneCounts) {
    AddDisk("sdb", "second", "2");
    AddDisk("sda", "first", "1");
    EXPECT_EQ(Read().strModel, u"second");
    AddDisk("sdz", "twenty-sixth", "26");
    AddDisk("sdaa", "twenty-seventh", "27");
    EXPECT_EQ(Read().strModel, u"twenty-seventh");
    EXPECT_EQ(Read().strSerial, u"27");
}

TEST_F(DiskIdentityTest, WhatOnlyLooksLikeADiskIsNone) {
    AddDisk("sda", "disk", "1");
    for (const char* pszOther : {"loop7", "ram0", "zram0", "dm-0", "sr0", "fd0"}) AddDisk(pszOther, "other", "2");
    Write("md127/serial", "3");
    EXPECT_EQ(Read().strModel, u"disk");
    EXPECT_EQ(Read().strSerial, u"1");
}

TEST_F(DiskIdentityTest, ADiskOfAVirtualMachineHasItsSerialNumberBesideTheDevice) {
    Write("vda/device/vendor", "0x1af4\n");
    Write("vda/serial", "disk-7");
    EXPECT_EQ(Read().strModel, u"");
    EXPECT_EQ(Read().strSerial, u"disk-7");
}

TEST_F(DiskIdentityTest, AMemoryCardHasANameForItsModel) {
    Write("mmcblk0/device/name", "SD32G\n");
    Write("mmcblk0/device/serial", "0x1234abcd\n");
    EXPECT_EQ(Read().strModel, u"SD32G");
    EXPECT_EQ(Read().strSerial, u"0x1234abcd");
}

TEST_F(DiskIdentityTest, ASataDiskTellsItsSerialNumberOnAPageOfItsOwn) {
    using namespace std::string_view_literals;
    Write("sda/device/model", "Tidewater HDD\n");
    Write("sda/device/vpd_pg80", "\x00\x80\x00\x08  WX12345678"sv);
    EXPECT_EQ(Read().strSerial, u"WX1234");
    Write("sda/device/vpd_pg80", "\x00\x80\xff\xff  WX1\0\0"sv);
    EXPECT_EQ(Read().strSerial, u"WX1") << "a page that is shorter than it says";
    Write("sda/device/vpd_pg80", "\x00\x80\x00"sv);
    EXPECT_EQ(Read().strSerial, u"");
}

TEST_F(DiskIdentityTest, BytesThatAreNoTextAreNoCrash) {
    AddDisk("sda", "\xff\xfe\x80 x\n", std::string(100'000, '\0'));
    EXPECT_EQ(Read().strModel, u"\uFFFD\uFFFD\uFFFD x");
    EXPECT_EQ(Read().strSerial, u"");
}

TEST_F(DiskIdentityTest, WithoutAnyDiskOrWithoutTheFolderBothAreEmpty) {
    EXPECT_EQ(Read().strModel, u"");
    EXPECT_EQ(ReadDiskIdentity(m_folder / "missing").strSerial, u"");
    std::filesystem::create_directories(m_folder.GetPath() / "sda/device");
    EXPECT_EQ(Read().strModel, u"");
    EXPECT_EQ(Read().strSerial, u"");
}

TEST(MachineIdentityTest, TheProcessorIsSixteenHexadecimalDigitsAndAlwaysTheSame) {
    const std::string strId = Narrow(ReadProcessorId());
#if defined(__x86_64__) || defined(__i386__)
    EXPECT_THAT(strId, MatchesRegex("[0-9A-F]{16}"));
    EXPECT_NE(strId, "0000000000000000");
#else
    EXPECT_THAT(strId, IsEmpty());
#endif
    EXPECT_EQ(ReadMachineIdentity().strProcessorId, Widen(strId));
}

}  // namespace
}  // namespace qvant::platform
