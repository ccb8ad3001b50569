/// The rolls, bars and factors of a generated world.
#pragma once

#include <memory>
#include <string>

#include "generator_file.h"
#include "generator_tables.h"
#include "options.h"

namespace qvant::refserver {

/// The rolls and bars of one exchange's products: three years of months, each the hot one until it is about to expire.
class CRollsWriter {
public:
    /// @throw std::runtime_error  the files can't be made
    CRollsWriter(const GenerateOptions& options, const std::string& strExchange);

    /// Adds a product that lists contracts, its nearest month the hot one.
    void AddProduct(const std::string& strKey);

    /// @throw std::runtime_error  not everything could be written
    void Finish();

private:
    std::unique_ptr<CGeneratedFile> m_pRolls;
    std::unique_ptr<CGeneratedFile> m_pBars;
    CDice m_dice;
};

/// Writes what every twentieth stock of each exchange paid.
/// @throw std::runtime_error  the files can't be made, or not everything could be written
void GenerateStockEvents(const GenerateOptions& options);

}  // namespace qvant::refserver
