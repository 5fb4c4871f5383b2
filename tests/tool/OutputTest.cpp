#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include <android-base/unique_fd.h>

#include "Output.h"
#include "OutputFile.h"
#include "testing/Folders.h"
#include "testing/TemporaryFolder.h"

using nlohmann::ordered_json;

namespace {

TEST(Output, NothingThatATerminalObeysReachesIt) {
  struct Case {
    const char* name;
    std::string text, shown;
  };
  for (const auto& [name, text, shown] : {
           Case{"plain", "a \"b\" 7", "a \"b\" 7"},
           Case{"other scripts", "ä € 𝄞", "ä € 𝄞"},
           Case{"escape sequence", "\033[2J", "\\x1b[2J"},
           Case{"line's end and DEL", "a\n\x7f", "a\\x0a\\x7f"},
           Case{"C1",
                "\xc2\x9b"
                "2J",
                "\\xc2\\x9b2J"},
           Case{"bidirectional override", "\xe2\x80\xaetxt", "\\xe2\\x80\\xaetxt"},
           Case{"raw byte", "a\x9b", "a\\x9b"},
           Case{"cut short", "\xe2\x82", "\\xe2\\x82"},
           Case{"too long a form", "\xc0\xaf", "\\xc0\\xaf"},
           Case{"surrogate", "\xed\xa0\x80", "\\xed\\xa0\\x80"},
           Case{"beyond Unicode", "\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
       }) {
    EXPECT_EQ(visible(text), shown) << name;
  }
}

TEST(Output, ColumnsAreAlignedAndALongCellMovesOnlyItsOwnRow) {
  const std::string longText(100, 'x');
  std::ostringstream out;
  printTable({{{"name", "ä"}, {"n", 1}}, {{"name", longText}, {"n", nullptr}}}, out);
  EXPECT_EQ(out.str(), "name  n\nä     1\n" + longText + "  -\n");
}

TEST(Output, NumbersThatReadersOfJsonRoundAreTexts) {
  EXPECT_EQ(exactNumber((1ULL << 53) - 1), ordered_json((1ULL << 53) - 1));
  EXPECT_EQ(exactNumber(1ULL << 53), "9007199254740992");
}

std::string contents(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t modeOf(const std::string& path) {
  struct stat file = {};
  stat(path.c_str(), &file);
  return file.st_mode & ALLPERMS;
}

TEST(OutputFile, AFileIsReplacedWhenWholeAndKeepsItsMode) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/page";
  std::ostringstream standardOutput;
  std::ofstream(path) << "old";
  chmod(path.c_str(), 0600);
  {
    OutputFile dropped(path, standardOutput);
    dropped.stream() << "half";
  }
  EXPECT_EQ(contents(path), "old");
  OutputFile file(path, standardOutput);
  file.stream() << "new";
  EXPECT_EQ(contents(path), "old");
  file.finish();
  EXPECT_EQ(contents(path), "new");
  EXPECT_EQ(modeOf(path), 0600u);
  EXPECT_EQ(namesIn(folder.path()).size(), 1u);
}

TEST(OutputFile, LinksAreFollowedEvenToAFileThatIsNotThere) {
  const TemporaryFolder folder;
  const std::string link = folder.path() + "/link";
  const std::string target = folder.path() + "/target";
  std::ostringstream standardOutput;
  ASSERT_EQ(symlink("target", link.c_str()), 0);
  for (const char* const text : {"first", "second"}) {
    OutputFile file(link, standardOutput);
    file.stream() << text;
    file.finish();
    EXPECT_EQ(contents(target), text);
    char linked[16] = {};
    EXPECT_EQ(readlink(link.c_str(), linked, sizeof(linked)), 6);
  }
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(modeOf(target), 0666u & ~mask);
}

TEST(OutputFile, WhatIsNotAPlainFileIsWrittenStraight) {
  const TemporaryFolder folder;
  const std::string fifo = folder.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const android::base::unique_fd reader(open(fifo.c_str(), O_RDWR));
  std::ostringstream standardOutput;
  OutputFile file(fifo, standardOutput);
  file.stream() << "text";
  file.finish();
  char read[8] = {};
  EXPECT_EQ(::read(reader.get(), read, sizeof(read)), 4);
  struct stat status = {};
  EXPECT_EQ(stat(fifo.c_str(), &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
  OutputFile("-", standardOutput).stream() << "page";
  EXPECT_EQ(standardOutput.str(), "page");
}

TEST(OutputFile, AFailureIsToldWithItsReason) {
  std::ostringstream standardOutput;
  try {
    OutputFile("/none/x", standardOutput);
    FAIL() << "made a file in a folder that is not there";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "cannot write /none/x: No such file or directory");
  }
  OutputFile full("/dev/full", standardOutput);
  full.stream() << "text";
  EXPECT_THROW(full.finish(), std::runtime_error);
}

}  // namespace
