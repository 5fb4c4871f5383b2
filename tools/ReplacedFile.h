#pragma once

#include <fstream>
#include <string>

/** A plain file that is written under another name, path.tmp, and only takes its place when whole. */
class ReplacedFile {
 public:
  /** Begins path.tmp. Throws std::runtime_error when it cannot, or path is not for a plain file. */
  explicit ReplacedFile(std::string path);

  /** Without finish(), leaves what was at path as it was. */
  ~ReplacedFile();
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  std::ostream& stream() { return mFile; }

  /** Puts the file in its place. Throws std::runtime_error when it cannot. */
  void finish();

 private:
  const std::string mPath;
  const std::string mTemporaryPath;
  std::ofstream mFile;
};
