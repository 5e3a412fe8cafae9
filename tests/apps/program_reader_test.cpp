// The program reader's two passes: the moves of a program are parsed one at a time, handed over
// and left out of the document, with the same errors, in the same order, as a reader that holds
// the whole document.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "cli_error.hpp"
#include "input_file.hpp"
#include "program_file.hpp"

namespace zor::rob::cli {
namespace {

using nlohmann::json;

/// The message of the InputError that `read` throws, or "" when it throws none.
template <typename Read>
std::string errorOf(Read read) {
  try {
    read();
  } catch (const InputError& e) {
    return e.what();
  }
  return "";
}

TEST(ProgramReader, ElementsOfTheStreamedArrayAreHandedOverInOrderAndLeftOut) {
  // Only the top-level array: a "moves" inside an element or another object stays in place.
  const std::string text =
      R"({"a": 1, "moves": [{"x": 1}, 2, [3, 4], {"moves": [5]}], "b": {"moves": [6]}})";
  std::vector<std::pair<std::size_t, json>> seen;
  const json doc =
      parseJsonDocument(text, "program", "p.json", "moves",
                        [&seen](std::size_t i, const json& e) { seen.emplace_back(i, e); });
  const std::vector<std::pair<std::size_t, json>> expected{{0, json::parse(R"({"x": 1})")},
                                                           {1, json(2)},
                                                           {2, json::parse("[3, 4]")},
                                                           {3, json::parse(R"({"moves": [5]})")}};
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(doc, json::parse(R"({"a": 1, "moves": [], "b": {"moves": [6]}})"));
  // Without a sink nothing is streamed.
  EXPECT_EQ(parseJsonDocument(text, "program", "p.json"), json::parse(text));
}

TEST(ProgramReader, StreamedElementsAreStillCheckedForRepeatedKeys) {
  std::vector<std::size_t> seen;
  const std::string message = errorOf([&seen] {
    parseJsonDocument(R"({"moves": [{"a": 1}, {"b": 1, "b": 2}]})", "program", "p.json", "moves",
                      [&seen](std::size_t i, const json&) { seen.push_back(i); });
  });
  EXPECT_EQ(message, "program file 'p.json': 'moves[1].b' is given twice");
  EXPECT_EQ(seen, std::vector<std::size_t>{0});
}

TEST(ProgramReader, AnErrorOfTheSinkLeavesTheParse) {
  std::vector<std::size_t> seen;
  const std::string message = errorOf([&seen] {
    parseJsonDocument(R"({"moves": [1, 2, 3]})", "program", "p.json", "moves",
                      [&seen](std::size_t i, const json&) {
                        seen.push_back(i);
                        if (i == 1)
                          throw InputError("stop at 1");
                      });
  });
  EXPECT_EQ(message, "stop at 1");
  EXPECT_EQ(seen, (std::vector<std::size_t>{0, 1}));
}

const ArmLoader kNoArmFiles = [](const std::string& path) -> Arm {
  throw InputError("arm file '" + path + "' is not read here");
};

TEST(ProgramReader, MovesMayComeBeforeTheToolsTheyName) {
  const std::string text = R"({"moves": [
      {"type": "MoveAbsJ", "joints": [0, 0, 0, 0, 30, 0], "speed": "v100", "zone": "fine",
       "tool": "gun"},
      {"type": "MoveAbsJ", "joints": [10, 0, 0, 0, 30, 0], "speed": "v200", "zone": "z10"}],
    "start": [0, 0, 0, 0, 30, 0],
    "tools": {"gun": {"position": [0, 0, 150], "orientation": [1, 0, 0, 0]}}})";
  const Program p = ProgramFromText(text, "p.json", kNoArmFiles);
  ASSERT_EQ(p.moves.size(), 2u);
  ASSERT_EQ(p.labels.size(), 2u);
  EXPECT_EQ(std::get<MoveAbsJ>(p.moves[0]).tool.tframe.pos, Pos(0, 0, 150));
  EXPECT_EQ(p.labels[0].tool, "gun");
  EXPECT_EQ(std::get<MoveAbsJ>(p.moves[1]).toJointPos.robJoint, RobJoint(10, 0, 0, 0, 30, 0));
  EXPECT_EQ(p.labels[1].tool, "");
}

TEST(ProgramReader, TopLevelErrorsComeBeforeErrorsOfTheMoves) {
  // Move 0 is bad too, and comes first in the text: the start is read first all the same.
  EXPECT_EQ(errorOf([] {
              ProgramFromText(R"({"moves": [{"type": "Jump"}], "start": [0, 0, 0]})", "p.json",
                              kNoArmFiles);
            }),
            "program file 'p.json': 'start' must be an array of 6 numbers");
  // Then the moves in their order, the first bad one named.
  EXPECT_EQ(errorOf([] {
              ProgramFromText(
                  R"({"start": [0, 0, 0, 0, 30, 0], "moves": [
                      {"type": "MoveAbsJ", "joints": [0, 0, 0, 0, 30, 0], "speed": "v100",
                       "zone": "fine"},
                      {"type": "Jump"}, {"type": "Hop"}]})",
                  "p.json", kNoArmFiles);
            }),
            "program file 'p.json': move 1: 'type' must be \"MoveJ\", \"MoveL\", \"MoveC\" or "
            "\"MoveAbsJ\", got \"Jump\"");
  EXPECT_EQ(errorOf([] {
              ProgramFromText(R"({"start": [0, 0, 0, 0, 30, 0], "moves": []})", "p.json",
                              kNoArmFiles);
            }),
            "program file 'p.json': 'moves' is empty: a program needs at least one move");
  EXPECT_EQ(errorOf([] {
              ProgramFromText(R"({"start": [0, 0, 0, 0, 30, 0], "moves": {}})", "p.json",
                              kNoArmFiles);
            }),
            "program file 'p.json': 'moves' must be an array of moves");
}

}  // namespace
}  // namespace zor::rob::cli
