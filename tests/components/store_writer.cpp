/// A program that writes to a persistent table, for the tests that kill it or take its disk away.
///
///     store_writer commits FILE     commits for ever and prints the number of each commit behind it
///     store_writer full FILE BYTES  commits while no file can grow above BYTES, then once more without that limit
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/resource.h>
#include <unistd.h>

#include "components/store_client.h"

namespace qvant::test {
namespace {

/// Every commit writes two keys that belong together, a key of its own, and now and then the tree of tables.
[[noreturn]] void CommitForEver(CBaseData& table) {
    for (std::int32_t i = 1;; ++i) {
        const Text strNumber = Widen(std::to_string(i));
        CTransaction transaction(table);
        transaction.SetValue(u"first", strNumber);
        transaction.SetValue(u"key" + strNumber, strNumber);
        const TablePtr pChild = NewTable();
        Write(*pChild, {{u"made", strNumber}});
        if (i % 3 == 0) transaction.SetTable(u"child", *pChild);
        if (i % 5 == 0) transaction.Clear(store::MASK_TABLES);
        transaction.SetRow(i % 100, strNumber);
        transaction.SetValue(u"second", strNumber);
        transaction.Commit();
        std::printf("%d\n", i);
        std::fflush(stdout);
    }
}

void LimitFiles(rlim_t nBytes) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = nBytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

/// @return 0 when the table in memory had everything at every moment
int CommitOnAFullDisk(CBaseData& table, rlim_t nBytes) {
    signal(SIGXFSZ, SIG_IGN);
    const TablePtr pChild = OpenChild(table, u"child");
    LimitFiles(nBytes);
    for (std::int32_t i = 1; i <= 200; ++i) {
        const Text strNumber = Widen(std::to_string(i));
        const Text strLong = strNumber + Text(1000, u'x');
        Write(i % 2 == 0 ? table : *pChild, {{u"key" + strNumber, strLong}});
        if ((i % 2 == 0 ? table : *pChild).GetString(u"key" + strNumber) != strLong) return 3;
    }
    const TablePtr pLate = OpenChild(table, u"late");
    Write(*pLate, {{u"k", u"v"}});
    LimitFiles(RLIM_INFINITY);
    Write(table, {{u"last", u"1"}});
    return 0;
}

int Run(int nArguments, char** pszArguments) {
    if (nArguments < 3) return 2;
    const TablePtr pTable = NewTable();
    if (FAILED(Persist(*pTable, Widen(pszArguments[2])))) return 2;
    if (std::strcmp(pszArguments[1], "commits") == 0) CommitForEver(*pTable);
    return nArguments > 3 ? CommitOnAFullDisk(*pTable, std::strtoul(pszArguments[3], nullptr, 10)) : 2;
}

}  // namespace
}  // namespace qvant::test

int main(int nArguments, char** pszArguments) { return qvant::test::Run(nArguments, pszArguments); }
