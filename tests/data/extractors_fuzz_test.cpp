// Feeds thousands of malformed (and some well-formed) texts to every record extractor and
// checks them against an independent token-level model of the stream forms:
// - nothing crashes, hangs or reads out of bounds (this suite also runs under the sanitizers),
//   and the stream never ends up bad;
// - when the model says an item is missing or cannot start the expected kind of item, the
//   extraction fails with failbit set;
// - when the model says every item is well formed, the extraction succeeds and the record holds
//   exactly the values of the text.
// Texts with an item that only begins like a valid one ("12abc", "1e", "tru") are not predicted;
// for them only the first property is checked.

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <ios>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/test_support.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/moves.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob {
namespace {

using Tokens = std::vector<std::string>;

// What one whitespace-delimited item of a stream form must be.
enum class Kind {
  Double,     // a double
  Int,        // an int
  WordBool,   // "true" or "false" (the stream has boolalpha set)
  DigitBool,  // "0" or "1" (boolalpha not set)
  Word,       // any word
};

// ---- The model ------------------------------------------------------------------------------

// The white space a formatted extraction skips in the classic locale.
bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

Tokens tokenize(std::string_view text) {
  Tokens tokens;
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && isBlank(text[i]))
      ++i;
    const std::size_t start = i;
    while (i < text.size() && !isBlank(text[i]))
      ++i;
    if (i > start)
      tokens.emplace_back(text.substr(start, i - start));
  }
  return tokens;
}

bool onlyChars(const std::string& s, std::string_view allowed) {
  return s.find_first_not_of(allowed) == std::string::npos;
}

// A double the stream reads completely: decimal digits, sign, point and exponent only, all of it
// consumed by strtod, and no overflow (which the stream reports as a failure).
bool isWholeDouble(const std::string& s, double* value = nullptr) {
  if (s.empty() || !onlyChars(s, "0123456789+-.eE"))
    return false;
  char* end = nullptr;
  const double v = std::strtod(s.c_str(), &end);
  if (end != s.c_str() + s.size() || std::isinf(v))
    return false;
  if (value != nullptr)
    *value = v;
  return true;
}

bool isWholeInt(const std::string& s, long* value = nullptr) {
  if (s.empty() || !onlyChars(s, "0123456789+-"))
    return false;
  if (s.find_first_of("+-", 1) != std::string::npos)
    return false;
  errno = 0;
  char* end = nullptr;
  const long v = std::strtol(s.c_str(), &end, 10);
  if (end != s.c_str() + s.size() || errno == ERANGE || v < INT_MIN || v > INT_MAX)
    return false;
  if (value != nullptr)
    *value = v;
  return true;
}

enum class Verdict { Valid, Invalid, Unknown };

// Whether `token` reads completely as `kind` (Valid), cannot even begin it (Invalid), or might
// be read in part (Unknown).
Verdict judge(const std::string& token, Kind kind) {
  const char first = token.front();
  const auto startsWithOneOf = [first](std::string_view set) {
    return set.find(first) != std::string_view::npos;
  };
  switch (kind) {
    case Kind::Double:
      if (isWholeDouble(token))
        return Verdict::Valid;
      return startsWithOneOf("0123456789+-.") ? Verdict::Unknown : Verdict::Invalid;
    case Kind::Int:
      if (isWholeInt(token))
        return Verdict::Valid;
      return startsWithOneOf("0123456789+-") ? Verdict::Unknown : Verdict::Invalid;
    case Kind::DigitBool: {
      // Read as an integer, which must then be 0 or 1.
      long v = 0;
      if (isWholeInt(token, &v))
        return v == 0 || v == 1 ? Verdict::Valid : Verdict::Invalid;
      return startsWithOneOf("0123456789+-") ? Verdict::Unknown : Verdict::Invalid;
    }
    case Kind::WordBool:
      if (token == "true" || token == "false")
        return Verdict::Valid;
      return startsWithOneOf("tf") ? Verdict::Unknown : Verdict::Invalid;
    case Kind::Word:
      return Verdict::Valid;
  }
  return Verdict::Unknown;
}

enum class Prediction { Success, Failure, Unknown };

Prediction predict(const Tokens& tokens, const std::vector<Kind>& kinds) {
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (i >= tokens.size())
      return Prediction::Failure;  // an item is missing
    switch (judge(tokens[i], kinds[i])) {
      case Verdict::Valid:
        continue;
      case Verdict::Invalid:
        return Prediction::Failure;
      case Verdict::Unknown:
        return Prediction::Unknown;
    }
  }
  return Prediction::Success;
}

// Whether the item `written` (as the record writes it back) holds the same value as `read`.
bool sameItem(const std::string& read, const std::string& written, Kind kind) {
  switch (kind) {
    case Kind::Double: {
      double a = 0, b = 0;
      return isWholeDouble(read, &a) && isWholeDouble(written, &b) && a == b;
    }
    case Kind::Int: {
      long a = 0, b = 0;
      return isWholeInt(read, &a) && isWholeInt(written, &b) && a == b;
    }
    case Kind::DigitBool: {
      long a = 0;
      return isWholeInt(read, &a) && (a == 1) == (written == "1");
    }
    case Kind::WordBool:
      return (read == "true") == (written == "true");
    case Kind::Word:
      return read == written;
  }
  return false;
}

// ---- The records' forms ---------------------------------------------------------------------

std::vector<Kind> repeat(Kind kind, std::size_t n, std::vector<Kind> kinds = {}) {
  kinds.insert(kinds.end(), n, kind);
  return kinds;
}

// Each record: the kinds of its items (which may depend on items read before, as the unit name
// of a work object does) and whether its extractor sets boolalpha itself.
template <typename R>
struct Form;

template <>
struct Form<RobJoint> {
  static std::vector<Kind> kinds(const Tokens&, bool) { return repeat(Kind::Double, 6); }
  static constexpr bool kSetsBoolalpha = false;
};
template <>
struct Form<RobJointA> : Form<RobJoint> {};
template <>
struct Form<ExtJoint> : Form<RobJoint> {};
template <>
struct Form<JointTarget> {
  static std::vector<Kind> kinds(const Tokens&, bool) { return repeat(Kind::Double, 12); }
  static constexpr bool kSetsBoolalpha = false;
};
template <>
struct Form<JointTargetA> : Form<JointTarget> {};
template <>
struct Form<ConfData> {
  static std::vector<Kind> kinds(const Tokens&, bool) { return repeat(Kind::Int, 4); }
  static constexpr bool kSetsBoolalpha = false;
};
template <>
struct Form<RobTarget> {
  static std::vector<Kind> kinds(const Tokens&, bool) {
    return repeat(Kind::Double, 6, repeat(Kind::Int, 4, repeat(Kind::Double, 7)));
  }
  static constexpr bool kSetsBoolalpha = false;
};
template <>
struct Form<ToolData> {
  static std::vector<Kind> kinds(const Tokens&, bool) {
    return repeat(Kind::Double, 18, {Kind::WordBool});
  }
  static constexpr bool kSetsBoolalpha = true;
};
template <>
struct Form<WObjData> {
  static std::vector<Kind> kinds(const Tokens& tokens, bool) {
    std::vector<Kind> kinds{Kind::WordBool, Kind::WordBool};
    // The unit name is an item only when ufprog reads false.
    if (tokens.size() > 1 && tokens[1] == "false")
      kinds.push_back(Kind::Word);
    return repeat(Kind::Double, 14, kinds);
  }
  static constexpr bool kSetsBoolalpha = true;
};
template <>
struct Form<LoadData> {
  static std::vector<Kind> kinds(const Tokens&, bool) { return repeat(Kind::Double, 11); }
  static constexpr bool kSetsBoolalpha = false;
};
template <>
struct Form<SpeedData> {
  static std::vector<Kind> kinds(const Tokens&, bool) { return repeat(Kind::Double, 4); }
  static constexpr bool kSetsBoolalpha = false;
};
template <>
struct Form<ZoneData> {
  static std::vector<Kind> kinds(const Tokens&, bool boolalpha) {
    return repeat(Kind::Double, 6, {boolalpha ? Kind::WordBool : Kind::DigitBool});
  }
  static constexpr bool kSetsBoolalpha = false;
};

// ---- Inputs ---------------------------------------------------------------------------------

// Items of every sort: well-formed numbers and words, items that only begin like numbers or
// booleans, garbage bytes.
const std::vector<std::string>& pool() {
  static const std::vector<std::string> items{"0",
                                              "1",
                                              "-1",
                                              "2",
                                              "17",
                                              "+3",
                                              "-0",
                                              "9e+09",
                                              "1e+09",
                                              "9000000000",
                                              "-2.5",
                                              "0.1",
                                              ".5",
                                              "+.5",
                                              "1.",
                                              "1e-07",
                                              "1250.123456789",
                                              "0.30000000000000004",
                                              "1e-320",
                                              "2147483647",
                                              "-2147483648",
                                              "true",
                                              "false",
                                              "STN1",
                                              "x",
                                              "abc",
                                              "-",
                                              "+",
                                              ".",
                                              "e5",
                                              "--1",
                                              "1e",
                                              "1e+",
                                              "12abc",
                                              "1.5.5",
                                              "0x1F",
                                              "1e999",
                                              "-1e999",
                                              "99999999999",
                                              "nan",
                                              "inf",
                                              "tru",
                                              "fals",
                                              "truex",
                                              "TRUE",
                                              "01",
                                              "{",
                                              "}",
                                              ",",
                                              "{1,",
                                              "\"\"",
                                              std::string("\0", 1),
                                              "\x01\x7f",
                                              "\xff\xfe",
                                              "\xc3\xa9",
                                              "#",
                                              "%d",
                                              "\\"};
  return items;
}

const char* const kSeparators[] = {" ", " ", " ", "  ", "\t", "\n", "\r\n", "\v", "\f"};

std::string join(const Tokens& tokens, test::Random& rng) {
  std::string text;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    if (i > 0) {
      text += kSeparators[rng.integer(0, static_cast<int>(std::size(kSeparators)) - 1)];
    }
    text += tokens[i];
  }
  return text;
}

std::string anyItem(test::Random& rng) {
  const auto& items = pool();
  return items[static_cast<std::size_t>(rng.integer(0, static_cast<int>(items.size()) - 1))];
}

std::string anyDouble(test::Random& rng) {
  std::ostringstream os;
  switch (rng.integer(0, 3)) {
    case 0:
      os << rng.integer(-2000, 2000);
      break;
    case 1:
      os.precision(17);
      os << rng.uniform(-1e4, 1e4);
      break;
    case 2:
      os << std::scientific << rng.uniform(-1, 1) * std::pow(10.0, rng.integer(-300, 300));
      break;
    default:
      os << (rng.integer(0, 1) == 1 ? 9e9 : 1e9);
  }
  return os.str();
}

std::string anyWord(test::Random& rng) {
  std::string word;
  for (int i = rng.integer(1, 8); i > 0; --i)
    word += static_cast<char>(rng.integer('!', '~'));
  return word;
}

// A well-formed text of the record, item by item from its kinds.
template <typename R>
Tokens validTokens(test::Random& rng, bool boolalpha) {
  Tokens tokens;
  for (;;) {
    const std::vector<Kind> kinds = Form<R>::kinds(tokens, boolalpha);
    if (tokens.size() >= kinds.size())
      return tokens;
    switch (kinds[tokens.size()]) {
      case Kind::Double:
        tokens.push_back(anyDouble(rng));
        break;
      case Kind::Int:
        tokens.push_back(std::to_string(rng.integer(-9, 9)));
        break;
      case Kind::WordBool:
        tokens.push_back(rng.integer(0, 1) == 1 ? "true" : "false");
        break;
      case Kind::DigitBool:
        tokens.push_back(rng.integer(0, 1) == 1 ? "1" : "0");
        break;
      case Kind::Word:
        tokens.push_back(anyWord(rng));
        break;
    }
  }
}

// A well-formed text with a few items replaced, dropped, repeated, inserted or swapped.
template <typename R>
Tokens mutatedTokens(test::Random& rng, bool boolalpha) {
  Tokens tokens = validTokens<R>(rng, boolalpha);
  for (int m = rng.integer(1, 3); m > 0; --m) {
    const auto at = [&] {
      return static_cast<std::size_t>(rng.integer(0, static_cast<int>(tokens.size()) - 1));
    };
    if (tokens.empty()) {
      tokens.push_back(anyItem(rng));
      continue;
    }
    switch (rng.integer(0, 4)) {
      case 0:
        tokens[at()] = anyItem(rng);
        break;
      case 1:
        tokens.erase(tokens.begin() + static_cast<std::ptrdiff_t>(at()));
        break;
      case 2: {
        const std::size_t i = at();
        tokens.insert(tokens.begin() + static_cast<std::ptrdiff_t>(i), tokens[i]);
        break;
      }
      case 3:
        tokens.insert(tokens.begin() + static_cast<std::ptrdiff_t>(at()), anyItem(rng));
        break;
      default:
        std::swap(tokens[at()], tokens[at()]);
    }
  }
  return tokens;
}

std::string anyBytes(test::Random& rng) {
  std::string text;
  for (int i = rng.integer(0, 60); i > 0; --i)
    text += static_cast<char>(rng.integer(0, 255));
  return text;
}

std::string printable(const std::string& text) {
  std::ostringstream os;
  os << '"';
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x20 && u < 0x7f && c != '\\') {
      os << c;
    } else {
      os << "\\x" << std::hex << static_cast<int>(u) << std::dec;
    }
  }
  return os.str() + '"';
}

// ---- The check ------------------------------------------------------------------------------

// Extracts a `R` from `text` and checks the outcome against the model; returns the model's
// prediction.
template <typename R>
Prediction checkExtraction(const std::string& text, bool boolalpha) {
  SCOPED_TRACE(printable(text) + (boolalpha ? " (boolalpha)" : ""));
  std::istringstream is(text);
  if (boolalpha)
    is >> std::boolalpha;
  R record{};
  std::istream& returned = (is >> record);
  EXPECT_EQ(&returned, &is);
  EXPECT_FALSE(is.bad());

  const bool readsWords = boolalpha || Form<R>::kSetsBoolalpha;
  const Tokens tokens = tokenize(text);
  const std::vector<Kind> kinds = Form<R>::kinds(tokens, readsWords);
  const Prediction prediction = predict(tokens, kinds);
  switch (prediction) {
    case Prediction::Failure:
      EXPECT_TRUE(is.fail());
      break;
    case Prediction::Success: {
      EXPECT_FALSE(is.fail());
      // The record holds the values of the text: written back at full precision, item by item.
      std::ostringstream os;
      os.precision(17);
      if (readsWords)
        os << std::boolalpha;
      os << record;
      const Tokens written = tokenize(os.str());
      EXPECT_EQ(written.size(), kinds.size()) << os.str();
      for (std::size_t i = 0; i < kinds.size() && i < written.size(); ++i) {
        EXPECT_TRUE(sameItem(tokens[i], written[i], kinds[i]))
            << "item " << i << ": read " << tokens[i] << ", holds " << written[i];
      }
      break;
    }
    case Prediction::Unknown:
      break;
  }
  return prediction;
}

template <typename R>
class Extractor : public testing::Test {};

using Records = testing::Types<RobJoint, RobJointA, ExtJoint, JointTarget, JointTargetA, ConfData,
                               RobTarget, ToolData, WObjData, LoadData, SpeedData, ZoneData>;
TYPED_TEST_SUITE(Extractor, Records);

TYPED_TEST(Extractor, EmptyAndBlankInputFail) {
  for (const char* text : {"", " ", "\t\n\v\f\r "}) {
    for (const bool boolalpha : {false, true}) {
      std::istringstream is(text);
      if (boolalpha)
        is >> std::boolalpha;
      TypeParam record{};
      is >> record;
      EXPECT_TRUE(is.fail());
      EXPECT_FALSE(is.bad());
    }
  }
}

TYPED_TEST(Extractor, EveryTruncationAtAnItemBoundaryFails) {
  test::Random rng;
  for (int sample = 0; sample < 20; ++sample) {
    const bool boolalpha = rng.integer(0, 1) == 1;
    const Tokens full = validTokens<TypeParam>(rng, boolalpha || Form<TypeParam>::kSetsBoolalpha);
    for (std::size_t n = 0; n < full.size(); ++n) {
      const std::string text =
          join(Tokens(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(n)), rng);
      std::istringstream is(text);
      if (boolalpha)
        is >> std::boolalpha;
      TypeParam record{};
      is >> record;
      EXPECT_TRUE(is.fail()) << printable(text);
      EXPECT_FALSE(is.bad());
    }
    EXPECT_EQ(checkExtraction<TypeParam>(join(full, rng), boolalpha), Prediction::Success);
  }
}

TYPED_TEST(Extractor, ARandomlyDamagedTextNeverBreaksTheStream) {
  test::Random rng;
  int successes = 0;
  int failures = 0;
  for (int i = 0; i < 400; ++i) {
    const bool boolalpha = rng.integer(0, 1) == 1;
    const bool words = boolalpha || Form<TypeParam>::kSetsBoolalpha;
    std::string text;
    switch (rng.integer(0, 4)) {
      case 0: {  // random items
        Tokens tokens;
        for (int n = rng.integer(0, 25); n > 0; --n)
          tokens.push_back(anyItem(rng));
        text = join(tokens, rng);
        break;
      }
      case 1:  // a valid form with a few items damaged
        text = join(mutatedTokens<TypeParam>(rng, words), rng);
        break;
      case 2: {  // a valid form cut anywhere, possibly inside an item
        text = join(validTokens<TypeParam>(rng, words), rng);
        text.resize(static_cast<std::size_t>(rng.integer(0, static_cast<int>(text.size()))));
        break;
      }
      case 3:  // random bytes
        text = anyBytes(rng);
        break;
      default:  // a valid form
        text = join(validTokens<TypeParam>(rng, words), rng);
    }
    const Prediction p = checkExtraction<TypeParam>(text, boolalpha);
    successes += p == Prediction::Success ? 1 : 0;
    failures += p == Prediction::Failure ? 1 : 0;
    if (testing::Test::HasFailure())
      return;
  }
  // The model must actually decide most cases, or the test checks little.
  EXPECT_GT(successes, 40);
  EXPECT_GT(failures, 150);
}

}  // namespace
}  // namespace zor::rob
