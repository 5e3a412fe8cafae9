#pragma once

// Checks shared by the record tests: the text a record writes, extraction from a text, and
// round trips through the stream form at full precision.

#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>

namespace zor::rob::test {

/// The text `record` writes to a stream in its default state.
template <class R>
std::string streamed(const R& record) {
  std::ostringstream out;
  out << record;
  return out.str();
}

/// Extracts `record` from `text` with a stream in its default state; returns whether the
/// extraction failed (the record keeps what was read before the failure).
template <class R>
bool extractionFails(const std::string& text, R& record) {
  std::istringstream in(text);
  in >> record;
  return in.fail();
}

/// The same, and reads the word that follows the record into `next`: what the extraction left
/// on the stream.
template <class R>
bool extractionFails(const std::string& text, R& record, std::string& next) {
  std::istringstream in(text);
  in >> record;
  const bool failed = in.fail();
  in >> next;
  return failed;
}

/// Expects the extraction of a default-constructed R from each of `texts` to fail.
template <class R>
void expectExtractionFails(std::initializer_list<const char*> texts) {
  for (const char* text : texts) {
    R record;
    EXPECT_TRUE(extractionFails(text, record)) << '"' << text << '"';
  }
}

/// One round trip: the record to write and the record to read it back into, set apart from it
/// in what the text carries so that a field the extraction skips shows.
template <class R>
struct RoundTrip {
  R written;
  R readInto;
};

/// Writes `samples` records, `sample(i)` for i from 0, at 17 significant digits (enough for any
/// double to read back exactly; the default 6 lose information) and reads each back: the
/// reading must succeed, and `expectSame(back, written, text)` judges what it read.
template <class Sample, class ExpectSame>
void expectStreamRoundTrips(int samples, Sample sample, ExpectSame expectSame) {
  for (int i = 0; i < samples; ++i) {
    auto [written, back] = sample(i);
    std::stringstream text;
    text.precision(17);
    text << written;
    text >> back;
    ASSERT_FALSE(text.fail()) << text.str();
    expectSame(back, written, text.str());
    if (::testing::Test::HasFatalFailure())
      return;
  }
}

/// The same, where every record read back must equal (==) the one written.
template <class Sample>
void expectStreamRoundTrips(int samples, Sample sample) {
  expectStreamRoundTrips(samples, sample,
                         [](const auto& back, const auto& written, const std::string& text) {
                           ASSERT_EQ(back, written) << text;
                         });
}

}  // namespace zor::rob::test
