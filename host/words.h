/// Requests in words: what a person types, made into the request that a machine would send.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "request.h"

namespace qvant::host {

/// What can stand behind a word; a prompt offers it for completion.
enum class Argument {
    None,
    Status,
    Table,
    Kind,
    Word,
    Clock,
    Product,  ///< of futures or options
    Series,   ///< of hot months, or a stock
    Title,    ///< of a series of the user's own
    Plot      ///< what can be drawn
};

/// One word with the help for it.
struct WordHelp {
    std::string_view strWord;
    std::string_view strUsage;  ///< what follows the word
    std::string_view strHelp;
    Argument nArgument;
};

/// All words, in the order in which help lists them.
std::span<const WordHelp> GetWords();

/// One line for each word, or for the one that is named.
/// @throws CFailure for an unknown word
std::vector<Text> MakeHelp(TextView strWord);

/// Names of the sub-statuses, as `status` takes them.
std::span<const std::string_view> GetStatusNames();

/// Reads a line of words. Blanks part them; quotes keep blanks, and "\" in quotes keeps the next character. A bare
/// whole number is an integer where a value is meant, in quotes it is text. TABLE/SUB/SUB names a sub-table.
/// @throws CFailure for an unknown word or one that is used in a wrong way
JsonDocument ParseWords(std::string_view strLine);

}  // namespace qvant::host
