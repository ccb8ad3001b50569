/// A program that holds a lock on a database file until it is killed, for the tests of waiting.
///
///     database_locker FILE "BEGIN EXCLUSIVE"   prints "locked" once it has it
#include <cstdio>

#include <sqlite3.h>
#include <unistd.h>

int main(int nArguments, char** pszArguments) {
    sqlite3* pConnection = nullptr;
    if (nArguments < 3 || sqlite3_open(pszArguments[1], &pConnection) != SQLITE_OK) return 2;
    if (sqlite3_exec(pConnection, pszArguments[2], nullptr, nullptr, nullptr) != SQLITE_OK) return 3;
    std::puts("locked");
    std::fflush(stdout);
    for (;;) pause();
}
