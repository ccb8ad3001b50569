/// The answer to one request.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "event.h"
#include "listing.h"
#include "table_content.h"
#include "value.h"

namespace qvant::host {

using ReplyValue = std::variant<Value, TableContent, Event, Listing, Record>;

struct Reply {
    std::string strId;     ///< JSON text of the request's "id", or its running number
    std::string strError;  ///< empty: the request was carried out
    /// Members behind "ok", in their order; the names are literals.
    std::vector<std::pair<std::string_view, ReplyValue>> arMembers;
    /// How many rows of a table a reading person is shown; a machine always gets all.
    std::size_t nShownRows = 0;

    void Add(std::string_view strName, ReplyValue value) { arMembers.emplace_back(strName, std::move(value)); }
};

}  // namespace qvant::host
