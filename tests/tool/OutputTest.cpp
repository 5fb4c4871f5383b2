#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include <android-base/unique_fd.h>

#include "NodeChecks.h"
#include "Output.h"
#include "OutputFile.h"
#include "RunLmctl.h"
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
           Case{"line's end, NUL and DEL", std::string("a\n\0\x7f", 4), "a\\x0a\\x00\\x7f"},
           Case{"C1", "\xc2\x9b[J", "\\xc2\\x9b[J"},
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

/** Makes a file with a text; returns what was printed instead. */
std::string write(const std::string& path, const std::string& text) {
  std::ostringstream standardOutput;
  OutputFile file(path, standardOutput);
  file.stream() << text;
  file.finish();
  return standardOutput.str();
}

TEST(OutputFile, AFileIsReplacedWhenCompleteAndKeepsItsModeOwnerAndLink) {
  const TemporaryFolder folder;
  const std::string link = folder.path() + "/link";
  const std::string target = folder.path() + "/target";
  std::ostringstream standardOutput;
  ASSERT_EQ(symlink("target", link.c_str()), 0);
  write(link, "first, a longer one");
  EXPECT_EQ(readText(target), "first, a longer one");
  chmod(target.c_str(), 0600);
  struct stat old = {};
  EXPECT_EQ(getuid() == 0 ? chown(target.c_str(), 1, 2) : 0, 0);
  EXPECT_EQ(stat(target.c_str(), &old), 0);
  OutputFile(link, standardOutput).stream() << "half";
  EXPECT_EQ(readText(target), "first, a longer one");
  write(link, "second");
  EXPECT_EQ(readText(target), "second");
  struct stat file = {};
  EXPECT_EQ(stat(target.c_str(), &file), 0);
  EXPECT_EQ(std::tuple(file.st_mode & ALLPERMS, file.st_uid, file.st_gid),
            std::tuple(0600u, old.st_uid, old.st_gid));
  EXPECT_NE(file.st_ino, old.st_ino);
  char linked[16];
  EXPECT_EQ(readlink(link.c_str(), linked, sizeof(linked)), 6);
  EXPECT_EQ(namesIn(folder.path()).size(), 2u);
}

TEST(OutputFile, AFifoAndStandardOutputAreWrittenStraight) {
  const TemporaryFolder folder;
  const std::string fifo = folder.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const android::base::unique_fd reader(open(fifo.c_str(), O_RDWR));
  EXPECT_EQ(write(fifo, "text"), "");
  char read[8] = {};
  EXPECT_EQ(::read(reader.get(), read, sizeof(read)), 4);
  EXPECT_EQ(write("-", "page"), "page");
}

TEST(OutputFile, AFailureIsToldWithItsReason) {
  for (const auto& [path, reason] : {std::pair{"/none/x", "No such file or directory"},
                                     std::pair{"/dev/full", "No space left on device"}}) {
    try {
      write(path, "text");
      ADD_FAILURE() << "wrote " << path;
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(e.what(), "cannot write " + std::string(path) + ": " + reason);
    }
  }
}

}  // namespace
