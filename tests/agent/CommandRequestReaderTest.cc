// The command channel's request reader: bytes in any pieces give the same
// numbered lines; the end of file completes a last line; control characters
// and overlong lines are refused with the line shown escaped; the bytes kept
// stay bounded. The fuzz target's kept inputs are replayed through the same
// checks.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "agent/CommandRequestReader.h"
#include "fuzz/CommandRequestCheck.h"
#include "fuzz/FuzzInputs.h"

namespace {

using KorAgent::CommandRequestReader;
using Line = CommandRequestReader::Line;

std::vector<Line> readAll(CommandRequestReader& r) {
  std::vector<Line> lines;
  while (auto l = r.lineTaken()) lines.push_back(*l);
  return lines;
}

std::vector<Line> read(std::string const& bytes, size_t piece, size_t maxLine = CommandRequestReader::kMaxLine) {
  CommandRequestReader r(maxLine);
  for (size_t at = 0; at < bytes.size(); at += piece) r.bytesAdd(bytes.data() + at, std::min(piece, bytes.size() - at));
  r.endIs();
  EXPECT_TRUE(r.ended());
  auto lines = readAll(r);
  EXPECT_TRUE(r.done());
  EXPECT_EQ(r.bytesReady(), 0u);
  return lines;
}

TEST(CommandRequestReaderTest, LinesAreNumberedWhateverThePieces) {
  std::string const request = "show vrfs\r\n\nvrf add red\n# note\nFR4 a";
  for (size_t piece : {1, 2, 3, 7, 1000}) {
    auto lines = read(request, piece);
    ASSERT_EQ(lines.size(), 5u) << piece;
    EXPECT_EQ(lines[0].text, "show vrfs");
    EXPECT_EQ(lines[1].text, "");
    EXPECT_EQ(lines[2].text, "vrf add red");
    EXPECT_EQ(lines[3].text, "# note");
    EXPECT_EQ(lines[4].text, "FR4 a");
    for (size_t i = 0; i < lines.size(); ++i) {
      EXPECT_EQ(lines[i].number, i + 1);
      EXPECT_EQ(lines[i].error, "");
    }
  }
}

TEST(CommandRequestReaderTest, ALineIsReadyAtItsEndOfLineAndTheLastOneAtTheEndOfFile) {
  CommandRequestReader r;
  r.bytesAdd("echo a\necho", 11);
  ASSERT_TRUE(r.lineReady());
  EXPECT_EQ(r.bytesReady(), 6u);
  EXPECT_EQ(r.lineTaken()->text, "echo a");
  EXPECT_FALSE(r.lineReady());
  EXPECT_FALSE(r.done());
  r.bytesAdd(" b", 2);
  EXPECT_FALSE(r.lineReady());
  r.endIs();
  EXPECT_EQ(r.lineTaken()->text, "echo b");
  EXPECT_TRUE(r.done());
  r.bytesAdd("late\n", 5);  // after the end: ignored
  EXPECT_FALSE(r.lineReady());
  EXPECT_EQ(r.linesRead(), 2u);
}

TEST(CommandRequestReaderTest, ControlCharactersAreRefusedAndShownEscaped) {
  char const raw[] = "vrf add a\0b\nok\tline\nx\x7f" "y\nmid\rcr\n";
  auto lines = read(std::string(raw, sizeof raw - 1), 4);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0].text, "");
  EXPECT_EQ(lines[0].error, "control character \\x00 at column 10 refused: 'vrf add a\\x00b'");
  EXPECT_EQ(lines[1].text, "ok\tline");
  EXPECT_EQ(lines[2].error, "control character \\x7f at column 2 refused: 'x\\x7fy'");
  EXPECT_EQ(lines[3].error, "control character \\r at column 4 refused: 'mid\\rcr'");
  EXPECT_EQ(CommandRequestReader::escaped(std::string("a\\b\n\x01", 5)), "a\\\\b\\n\\x01");
}

TEST(CommandRequestReaderTest, LinesPastTheBoundAreRefusedAndNotKept) {
  std::string const exact(8, 'a');
  auto lines = read(exact + "\n" + exact + "\r\n" + std::string(100000, 'b') + "\nafter", 4096, 8);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0].text, exact);
  EXPECT_EQ(lines[1].text, exact);
  EXPECT_EQ(lines[2].error, "request line of 100000 bytes refused: a line holds at most 8");
  EXPECT_EQ(lines[3].text, "after");
  // A line in the making is kept only up to the bound.
  CommandRequestReader r(8);
  std::string const big(1 << 20, 'c');
  r.bytesAdd(big.data(), big.size());
  EXPECT_EQ(r.bytesReady(), 0u);
  r.bytesAdd("\n", 1);
  EXPECT_LT(r.bytesReady(), 100u);
}

TEST(CommandRequestReaderTest, FuzzCorpusAndRegressionsHold) {
  auto files = KorFuzz::inputFiles(KOR_FUZZ_DIR, "corpus/request");
  EXPECT_GE(files.size(), 5u) << "seed corpus missing under " << KOR_FUZZ_DIR;
  auto const regressions = KorFuzz::inputFiles(KOR_FUZZ_DIR, "regressions/request");
  files.insert(files.end(), regressions.begin(), regressions.end());
  for (auto const& f : files) {
    std::ifstream in(f, std::ios::binary);
    std::string const bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(KorFuzz::checkCommandRequest(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size()), "") << f;
  }
}

}  // namespace
