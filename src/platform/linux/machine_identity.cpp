#include "platform/machine_identity.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <tuple>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif
#include <dirent.h>

#include "base/format.h"
#include "platform/files.h"
#include "platform/linux/file_calls.h"

namespace qvant::platform {

namespace {

/// An attribute as one line. What pads it, blanks, line ends and NULs, falls away at both ends.
Text ToLine(std::string_view strBytes) { return Text(Trim(Widen(strBytes), TextView(u" \t\r\n\v\f\0", 7))); }

Text ReadAttribute(const Text& strPath) {
    const auto strBytes = ReadWholeFile(strPath);
    return strBytes ? ToLine(*strBytes) : Text();
}

/// The first of several attributes that says anything.
Text ReadFirst(const Text& strDisk, std::initializer_list<TextView> arNames) {
    Text strValue;
    for (const TextView strName : arNames) {
        if (strValue.empty()) strValue = ReadAttribute(Concatenate({strDisk, u"/", strName}));
    }
    return strValue;
}

/// The page in which a SCSI or SATA disk tells its serial number: a head of four bytes, the last two of them the length
/// of the text behind it, the higher one first.
Text ReadSerialPage(const Text& strPath) {
    constexpr std::size_t HEAD = 4;
    const auto strPage = ReadWholeFile(strPath);
    if (!strPage || strPage->size() < HEAD) return {};
    const auto byteAt = [&](std::size_t n) {
        return static_cast<std::size_t>(static_cast<unsigned char>((*strPage)[n]));
    };
    return ToLine(std::string_view(*strPage).substr(HEAD, byteAt(2) << 8 | byteAt(3)));
}

/// Names of the devices in a folder, in the order in which the system counts them: it goes on with a longer name when
/// the letters and digits of the shorter ones are used up.
std::vector<std::string> ListDevices(const std::string& strFolder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> pFolder(opendir(strFolder.c_str()), closedir);
    std::vector<std::string> arNames;
    while (const dirent* const pEntry = pFolder ? readdir(pFolder.get()) : nullptr)
        arNames.emplace_back(pEntry->d_name);
    std::sort(arNames.begin(), arNames.end(), [](const std::string& strA, const std::string& strB) {
        return std::tuple(strA.size(), std::string_view(strA)) < std::tuple(strB.size(), std::string_view(strB));
    });
    return arNames;
}

/// A disk is a device of its own; what the kernel makes from files, memory or other devices has none behind it.
bool IsDisk(std::string_view strName, const Text& strDisk) {
    for (const std::string_view strOther : {".", "loop", "ram", "zram", "dm-", "sr", "fd"}) {
        if (strName.starts_with(strOther)) return false;
    }
    return FileExists(strDisk + u"/device");
}

}  // namespace

DiskIdentity ReadDiskIdentity(TextView strFolder) {
    Text strLast;
    for (const std::string& strName : ListDevices(ToPath(strFolder))) {
        Text strDisk = Concatenate({strFolder, u"/", Widen(strName)});
        if (IsDisk(strName, strDisk)) strLast = std::move(strDisk);
    }
    if (strLast.empty()) return {};
    DiskIdentity disk;
    // A memory card has a name instead of a model, and a disk of a virtual machine its serial number beside the device.
    disk.strModel = ReadFirst(strLast, {u"device/model", u"device/name"});
    disk.strSerial = ReadFirst(strLast, {u"device/serial", u"serial"});
    if (disk.strSerial.empty()) disk.strSerial = ReadSerialPage(strLast + u"/device/vpd_pg80");
    return disk;
}

Text ReadProcessorId() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned nEax = 0;
    unsigned nEbx = 0;
    unsigned nEcx = 0;
    unsigned nEdx = 0;
    if (__get_cpuid(1, &nEax, &nEbx, &nEcx, &nEdx) != 0) return Format(u"%08X%08X", nEdx, nEax);
#endif
    return {};
}

MachineIdentity ReadMachineIdentity() { return {ReadDiskIdentity(u"/sys/block"), ReadProcessorId()}; }

}  // namespace qvant::platform
