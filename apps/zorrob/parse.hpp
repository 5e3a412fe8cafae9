#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Strict parsing of the numbers given on the command line.
namespace zor::rob::cli {

/// \returns the number written in `text`: decimal or scientific notation with an optional sign,
/// nothing else before or after. Throws UsageError naming `what` when the text is not a number
/// or the number is not finite (inf, nan, or beyond the largest double). A number too small to
/// represent, such as 1e-400, reads as the nearest double: zero or a subnormal, with its sign.
double parseNumber(std::string_view text, std::string_view what);

/// \returns the numbers of `texts`, one for each of `names`. Throws UsageError naming `what`
/// (e.g. "joint values (J1 ... J6, degrees)") for another count, and as parseNumber for each
/// item, named by its entry of `names` (e.g. "J3").
std::vector<double> parseNumbers(const std::vector<std::string>& texts,
                                 const std::vector<std::string>& names, std::string_view what);

/// \returns the whole number written in `text`, which must lie in [min, max]. Throws UsageError
/// naming `what` otherwise.
int parseWholeNumber(std::string_view text, int min, int max, std::string_view what);

/// Prepares one command-line argument for the option parser, which takes an argument starting
/// with "-" and a non-digit for an option. \returns "-0.5" for "-.5" (a negative number written
/// without its leading zero) and `arg` itself otherwise; throws UsageError for a negative
/// infinity or NaN ("-inf", "-nan"), which would otherwise be reported as an unknown option.
std::string prepareArgument(std::string_view arg);

}  // namespace zor::rob::cli
