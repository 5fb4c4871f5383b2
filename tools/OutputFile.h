#pragma once

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>

/** Whether path is "-" or leads to the file that is this process's standard output. */
bool isStandardOutput(const std::string& path);

/**
 * A file that a command makes. It is opened at once, so that a place that cannot be written is known
 * before the work, and written when its text is complete. A plain file is then replaced as a whole;
 * it keeps its mode and owner, and a symbolic link to it stays. It is written in place where no other
 * file can be put beside it.
 */
class OutputFile {
 public:
  /**
   * Opens the file, or takes standardOutput where that is meant. Throws std::runtime_error when the
   * file cannot be written.
   */
  OutputFile(const std::string& path, std::ostream& standardOutput);

  /** Takes the text. Without finish(), a file that was there stays as it was, and a new one empty. */
  std::ostream& stream() { return mText; }

  /** Writes the file. Throws std::runtime_error when not all of it was written. */
  void finish();

 private:
  const std::string mPath;
  std::ostringstream mText{};
  std::ostream& mStandardOutput;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> mFile;  ///< null for standard output
};
