#pragma once

#include <fstream>
#include <string>

/**
 * A file that a command makes. A plain file is written beside its place and only takes it when whole;
 * links are followed, and a file that was there keeps its mode and owner. What is not a plain file, as
 * a FIFO, and a file that cannot be replaced or is made through a link, is written straight.
 */
class OutputFile {
 public:
  /**
   * Begins the file; "-" and the process's own standard output are standardOutput. Throws
   * std::runtime_error when it cannot be written.
   */
  OutputFile(const std::string& path, std::ostream& standardOutput);

  /** Without finish(), leaves a plain file as it was. */
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  std::ostream& stream() { return mStream; }

  /** Puts the file in its place. Throws std::runtime_error when not all of it was written. */
  void finish();

 private:
  /** Makes the temporary file; leaves its path empty when the file has to be written straight. */
  void beginTemporary();

  const std::string mPath;
  std::string mTarget{};         ///< mPath without links
  std::string mTemporaryPath{};  ///< empty when the file is written straight
  std::ofstream mFile{};
  std::ostream& mStream;
};
