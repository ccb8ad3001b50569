/// When each product's hot month rolled, and when its months expire.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <rapidjson/document.h>

#include "contract_rules.h"
#include "world_date.h"

namespace qvant::refserver {

/// A month and a day of it: the one from which it is the hot month, or the one on which it expires.
struct MonthDay {
    Day day;
    unsigned nMonth = 0;  // YYYYMM
};

struct ProductRolls {
    std::vector<MonthDay> arRolls;     // the latest first
    std::vector<MonthDay> arExpiries;  // of all months that are listed or were, the latest first
};

/// The day on which a month expires; none for a month that the product hasn't.
std::optional<Day> FindExpiry(const ProductRolls& rolls, unsigned nMonth);

/// The rolls of all products.
class CRollBook {
public:
    /// Adds one file of "rolls".
    /// @throw CWorldError  it can't be read, or says something that can't be
    void AddFile(const std::filesystem::path& file);

    /// Adds the months that products list now, after all files.
    /// @throw CWorldError  a product rolled to a month that it neither lists nor had
    void AddListed(const CContractRules& rules);

    /// The rolls of a product, "QV.F.CME.ES"; null when there are none.
    const ProductRolls* Find(std::string_view key) const;

    /// All products, in no order.
    const std::unordered_map<std::string, ProductRolls>& GetProducts() const { return m_mapProducts; }

private:
    std::unordered_map<std::string, ProductRolls> m_mapProducts;
};

}  // namespace qvant::refserver
