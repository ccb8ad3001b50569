/// The rows of a search build on their way into the database.
#pragma once

#include <array>
#include <atomic>
#include <optional>
#include <vector>

#include "base/text.h"
#include "platform/two_threads.h"
#include "store/db_api_obj.h"

namespace qvant {

/// Takes rows from the thread that makes them and, when there are many, enters them on a second one, which alone uses
/// the database until the end. The rows go in one by one, in their order; nothing is entered behind one that the
/// database refuses.
///
/// All operations are called on one thread.
class CSearchRowWriter {
public:
    enum class Form { Contract, Synthetic };

    struct Refusal {
        Form form;
        std::int32_t nResult;  ///< of the insert
        Text strRow;
    };

    /// @param database  outlives this, within a batch
    explicit CSearchRowWriter(DbAPIObj& database) : m_database(database) {}

    /// @return false when a row has been refused already
    bool Add(Form form, TextView strRow);

    /// Waits until all rows are entered. @return the one that was refused, if any
    std::optional<Refusal> Finish();

private:
    /// The texts lie one behind the other: the other thread's processor fetches them ahead from this one's.
    struct Batch {
        static constexpr std::size_t MOST = 256;  ///< so long that waking the other thread costs next to nothing
        struct Row {
            Form form = Form::Contract;
            std::size_t nEnd = 0;  ///< of its text in those of all
        };
        std::array<Row, MOST> arRows;
        std::size_t nCount = 0;
        Text strTexts;  ///< its memory serves the next ones
    };
    static constexpr std::size_t PLACES = 4;

    void HandOver();
    void Enter(const Batch& batch);

    std::array<Batch, PLACES> m_arBatches;
    Batch* m_pBatch = nullptr;  ///< the one that is being filled
    std::atomic<bool> m_bRefused{false};

    // Of the following thread until it has finished.
    DbAPIObj& m_database;
    std::optional<Refusal> m_refusal;

    platform::CFollower m_follower{"EnterRows", PLACES, [this](std::size_t nPlace) { Enter(m_arBatches[nPlace]); }};
};

}  // namespace qvant
