/// The built files themselves: what the system is asked to guard, and what they ask of the system.

#include <algorithm>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qvant::test {
namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Not;
using ::testing::StartsWith;

/// A program or a shared library of 64 bits, as it lies on the disk.
class CElfFile {
public:
    explicit CElfFile(const std::string& strPath) {
        std::ifstream file(strPath, std::ios::binary);
        m_strBytes.assign(std::istreambuf_iterator<char>(file), {});
        m_header = Read<Elf64_Ehdr>(0);
        for (std::size_t i = 0; i < m_header.e_phnum; ++i)
            m_arSegments.push_back(Read<Elf64_Phdr>(m_header.e_phoff + i * m_header.e_phentsize));
        for (std::size_t i = 0; i < m_header.e_shnum; ++i)
            m_arSections.push_back(Read<Elf64_Shdr>(m_header.e_shoff + i * m_header.e_shentsize));
    }

    const Elf64_Ehdr& GetHeader() const { return m_header; }
    const std::vector<Elf64_Phdr>& GetSegments() const { return m_arSegments; }

    std::optional<Elf64_Phdr> FindSegment(std::uint32_t nType) const {
        const auto p = std::find_if(m_arSegments.begin(), m_arSegments.end(),
                                    [&](const Elf64_Phdr& segment) { return segment.p_type == nType; });
        return p == m_arSegments.end() ? std::nullopt : std::optional(*p);
    }

    /// A number of the dynamic section; 0 when it has none.
    std::uint64_t GetDynamic(std::int64_t nTag) const {
        const auto segment = FindSegment(PT_DYNAMIC);
        for (std::size_t n = 0; segment && n < segment->p_filesz; n += sizeof(Elf64_Dyn)) {
            const auto entry = Read<Elf64_Dyn>(segment->p_offset + n);
            if (entry.d_tag == nTag) return entry.d_un.d_val;
        }
        return 0;
    }

    /// The symbols that other files see or give, the imported or the exported ones.
    std::vector<std::string> GetNames(bool bImported) const {
        std::vector<std::string> arNames;
        ForEachSymbol([&](const Elf64_Sym& symbol, const std::string& strName) {
            if ((symbol.st_shndx == SHN_UNDEF) == bImported) arNames.push_back(strName);
        });
        return arNames;
    }

    /// Whether every exported function begins as a place that may be called from anywhere.
    bool AreExportsLandingPads() const {
        bool bAll = true;
        ForEachSymbol([&](const Elf64_Sym& symbol, const std::string&) {
            if (symbol.st_shndx != SHN_UNDEF && ELF64_ST_TYPE(symbol.st_info) == STT_FUNC)
                bAll = bAll && m_strBytes.compare(ToOffset(symbol.st_value), LANDING_PAD.size(), LANDING_PAD) == 0;
        });
        return bAll;
    }

    std::size_t CountLandingPads() const {
        std::size_t nCount = 0;
        for (std::size_t n = 0; (n = m_strBytes.find(LANDING_PAD, n)) != std::string::npos; ++n) ++nCount;
        return nCount;
    }

    /// The marks of the processor's own guards; 0 without the note that holds them.
    std::uint32_t GetProcessorMarks() const {
        const auto segment = FindSegment(PT_GNU_PROPERTY);
        if (!segment) return 0;
        std::uint64_t n = segment->p_offset + sizeof(Elf64_Nhdr) + 4;  // behind the head and the name "GNU"
        while (n + 8 <= segment->p_offset + segment->p_filesz) {
            const auto nType = Read<std::uint32_t>(n);
            const auto nSize = Read<std::uint32_t>(n + 4);
            if (nType == GNU_PROPERTY_X86_FEATURE_1_AND) return Read<std::uint32_t>(n + 8);
            n += 8 + (nSize + 7) / 8 * 8;
        }
        return 0;
    }

private:
    static inline const std::string LANDING_PAD = "\xF3\x0F\x1E\xFA";  // endbr64

    template <class T>
    T Read(std::uint64_t nOffset) const {
        T value{};
        if (nOffset + sizeof(T) <= m_strBytes.size()) std::memcpy(&value, m_strBytes.data() + nOffset, sizeof(T));
        return value;
    }

    std::uint64_t ToOffset(std::uint64_t nAddress) const {
        for (const Elf64_Phdr& segment : m_arSegments) {
            if (segment.p_type == PT_LOAD && nAddress - segment.p_vaddr < segment.p_filesz)
                return nAddress - segment.p_vaddr + segment.p_offset;
        }
        return 0;
    }

    template <class Visit>
    void ForEachSymbol(const Visit& visit) const {
        for (const Elf64_Shdr& section : m_arSections) {
            if (section.sh_type != SHT_DYNSYM) continue;
            const Elf64_Shdr& names = m_arSections.at(section.sh_link);
            for (std::uint64_t n = sizeof(Elf64_Sym); n < section.sh_size; n += sizeof(Elf64_Sym)) {
                const auto symbol = Read<Elf64_Sym>(section.sh_offset + n);
                visit(symbol, std::string(m_strBytes.c_str() + names.sh_offset + symbol.st_name));
            }
        }
    }

    std::string m_strBytes;
    Elf64_Ehdr m_header{};
    std::vector<Elf64_Phdr> m_arSegments;
    std::vector<Elf64_Shdr> m_arSections;
};

struct BuiltFile {
    const char* pszName;
    const char* pszPath;
    bool bProgram;
    bool bCopies;  ///< has copies into arrays of known size, which can be checked; the others have none
};

constexpr BuiltFile FILES[] = {{"Service", QV_SERVICE, false, true},         {"Store", QV_STORE, false, false},
                               {"Database", QV_DATABASE, false, false},      {"Events", QV_EVENTS, false, false},
                               {"Automation", QV_AUTOMATION, false, true},   {"Host", QV_HOST, true, true},
                               {"ReferenceServer", QV_REFSERVER, true, true}};

void PrintTo(const BuiltFile& file, std::ostream* pStream) { *pStream << file.pszPath; }

class Hardening : public ::testing::TestWithParam<BuiltFile> {
protected:
    const CElfFile m_file{GetParam().pszPath};
};

TEST_P(Hardening, LiesAtAnotherAddressAtEachStart) {
    ASSERT_EQ(m_file.GetHeader().e_ident[EI_CLASS], ELFCLASS64) << GetParam().pszPath;
    EXPECT_EQ(m_file.GetHeader().e_type, ET_DYN);
    EXPECT_EQ(m_file.GetDynamic(DT_TEXTREL), 0u);
    const bool bMarked = (m_file.GetDynamic(DT_FLAGS_1) & DF_1_PIE) != 0;
    EXPECT_EQ(bMarked, GetParam().bProgram);
}

TEST_P(Hardening, LetsNobodyWriteWhatTheLinkerFilledIn) {
    EXPECT_TRUE(m_file.FindSegment(PT_GNU_RELRO));
    const bool bBoundAtStart =
        (m_file.GetDynamic(DT_FLAGS) & DF_BIND_NOW) != 0 || (m_file.GetDynamic(DT_FLAGS_1) & DF_1_NOW) != 0;
    EXPECT_TRUE(bBoundAtStart);
}

TEST_P(Hardening, RunsNothingThatCanBeWritten) {
    const auto stack = m_file.FindSegment(PT_GNU_STACK);
    ASSERT_TRUE(stack) << "without the mark the stack can be run";
    EXPECT_EQ(stack->p_flags & PF_X, 0u);
    for (const Elf64_Phdr& segment : m_file.GetSegments())
        EXPECT_NE(segment.p_flags & (PF_W | PF_X), static_cast<std::uint32_t>(PF_W | PF_X)) << segment.p_vaddr;
}

TEST_P(Hardening, EndsWhenAStackIsWrittenOver) { EXPECT_THAT(m_file.GetNames(true), Contains("__stack_chk_fail")); }

TEST_P(Hardening, RunsNoOtherProgram) {
    for (const std::string& strName : m_file.GetNames(true))
        EXPECT_THAT(strName,
                    Not(AnyOf("system", "popen", StartsWith("exec"), StartsWith("posix_spawn"), "fork", "vfork")));
}

#ifdef QV_FORTIFIED
TEST_P(Hardening, ChecksCopiesIntoArraysOfKnownSize) {
    auto arNames = m_file.GetNames(true);
    std::erase(arNames, "__stack_chk_fail");
    EXPECT_EQ(std::any_of(arNames.begin(), arNames.end(),
                          [](const std::string& str) { return str.starts_with("__") && str.ends_with("_chk"); }),
              GetParam().bCopies);
}
#endif

#ifdef __x86_64__
TEST_P(Hardening, KeepsCallsAndReturnsToMarkedPlaces) {
    EXPECT_NE(m_file.GetProcessorMarks() & GNU_PROPERTY_X86_FEATURE_1_SHSTK, 0u);
    EXPECT_TRUE(m_file.AreExportsLandingPads());
    EXPECT_GE(m_file.CountLandingPads(), 50u) << "those of the C library's start-up files are few";
}
#endif

INSTANTIATE_TEST_SUITE_P(Of, Hardening, ::testing::ValuesIn(FILES),
                         [](const auto& tried) { return std::string(tried.param.pszName); });

}  // namespace
}  // namespace qvant::test
