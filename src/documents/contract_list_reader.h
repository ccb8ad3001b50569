/// The files of the contract lists, read and parsed ahead of the walk over them.
#pragma once

#include <memory>
#include <vector>

#include "base/text.h"
#include "model/json_document.h"
#include "platform/thread.h"

namespace qvant {

/// Gives one list after the other. While the caller works on one, a thread of the reader's own reads the next; where
/// the system has no thread to give, or no memory for two lists, each is read when it is asked for.
///
/// Belongs to one thread.
class CContractListReader {
public:
    /// @param arPaths  in the order of reading; an empty one is a list that can't be read
    explicit CContractListReader(std::vector<Text> arPaths) : m_arPaths(std::move(arPaths)) {}

    /// The next list. Called once for each path.
    /// @return valid until the next call; null when the file can't be read, a JSON null when its text is broken
    const JsonValue* ReadNext();

private:
    /// A file and what borrows its texts from it.
    struct List {
        Text strText;
        JsonDocument file;
        bool bRead = false;
    };

    static std::unique_ptr<List> Read(const Text& strPath);
    void ReadAhead();

    const std::vector<Text> m_arPaths;
    std::size_t m_nNext = 0;
    std::unique_ptr<List> m_pList;   ///< the caller's
    std::unique_ptr<List> m_pAhead;  ///< the thread's while it runs
    platform::CThread m_thread;      ///< ends before what it works with
};

}  // namespace qvant
