#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LMDatabase.h"

/** A row that is to be put into a store, its payload as text. */
struct RowText {
  std::int64_t rowId = 0;  ///< 0 for a new one
  std::int32_t intcol1 = kNoIntcol1;
  std::string appName{};
  std::string rsvdName{};
  std::string payload{};
};

/** What rows have to be like. */
struct RowForm {
  std::string source;  ///< how a failure names the text
  bool slots;          ///< the payload is a slot's text, not a launch count

  /** When given, the rowids that rows may have, each of them once; otherwise rowids do not matter. */
  std::optional<std::set<std::int64_t>> rowIds;
};

/** Reads rows from a text, which outlives the reader, under the names that "lmctl db dump" prints. */
class RowReader {
 public:
  /** For JSON, when the text begins with a bracket or brace, or else CSV. */
  static std::unique_ptr<RowReader> make(std::string_view text, RowForm form);

  virtual ~RowReader() = default;

  /**
   * The next row, or nothing at the end of the text. Throws std::runtime_error that names the line
   * and the column, in bytes and both from 1, of what cannot be put into a store.
   */
  virtual std::optional<RowText> next() = 0;

  /** The next rows, at most so many; none at the end. */
  std::vector<RowText> nextRows(std::size_t most);

  /** Bytes that were read. */
  std::size_t position() const { return mAt; }

 protected:
  enum Column { kRowId, kInt, kApp, kRsvd, kPayload };

  RowReader(std::string_view text, RowForm form) : mText(text), mForm(std::move(form)) {}

  /** The column with a name at an offset in the text. */
  Column columnNamed(std::string_view name, std::size_t offset) const;

  /** Sets the row's field; value is at offset. */
  void set(RowText& row, Column column, const std::string& value, std::size_t offset);

  /** Makes sure that a row which begins at offset has what it must have. */
  void checkGiven(bool app, bool payload, std::size_t offset) const;

  [[noreturn]] void fail(std::size_t offset, const std::string& problem) const;

  bool atEnd() const { return mAt >= mText.size(); }

  /** The byte at the position; 0 at the end. */
  char peek() const { return atEnd() ? '\0' : mText[mAt]; }

  bool isText(Column column) const;

  const std::string_view mText;
  std::size_t mAt = 0;

 private:
  const char* columnName(Column column) const;
  std::int64_t number(const std::string& text, std::int64_t low, std::int64_t high,
                      std::size_t offset) const;

  std::int64_t takeRowId(const std::string& text, std::size_t offset);

  RowForm mForm;  ///< its rowIds without those that were read
};
