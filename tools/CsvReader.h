#pragma once

#include <vector>

#include "RowReader.h"

/**
 * Reads CSV as of RFC 4180. The first line names the columns, in any order. Lines may also end with
 * a line feed alone; empty ones are skipped. An empty field is one that is not set.
 */
class CsvReader final : public RowReader {
 public:
  CsvReader(std::string_view text, std::size_t begin, RowForm form);

  std::optional<RowText> next() override;

 private:
  struct Field {
    std::string value;
    std::size_t offset;
  };

  /** The fields of a line that is not empty; none at the end of the text. */
  std::vector<Field> readLine();
  Field readField();
  std::string readQuoted();
  bool skipLineEnd();

  std::vector<Column> mColumns;
};
