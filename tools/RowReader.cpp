#include "RowReader.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "CsvReader.h"
#include "JsonReader.h"
#include "Payloads.h"
#include "Texts.h"

namespace {

constexpr std::int64_t kMaxInt = std::numeric_limits<std::int32_t>::max();
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

std::unique_ptr<RowReader> RowReader::make(std::string_view text, RowForm form) {
  const std::size_t begin = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  const std::size_t first = text.find_first_not_of(" \t\r\n", begin);
  if (first != std::string_view::npos && (text[first] == '[' || text[first] == '{')) {
    return std::make_unique<JsonReader>(text, first, std::move(form));
  }
  return std::make_unique<CsvReader>(text, begin, std::move(form));
}

const char* RowReader::columnName(Column column) const {
  constexpr const char* kNames[] = {"rowid", "int", "app", "rsvd"};
  return column != kPayload ? kNames[column] : mForm.slots ? "slot" : "launches";
}

std::vector<RowText> RowReader::nextRows(std::size_t most) {
  std::vector<RowText> rows;
  while (rows.size() < most) {
    auto row = next();
    if (!row) {
      break;
    }
    rows.push_back(std::move(*row));
  }
  return rows;
}

bool RowReader::isText(Column column) const {
  return column == kApp || column == kRsvd || (column == kPayload && mForm.slots);
}

RowReader::Column RowReader::columnNamed(std::string_view name, std::size_t offset) const {
  for (const Column column : {kRowId, kInt, kApp, kRsvd, kPayload}) {
    if (name == columnName(column)) {
      return column;
    }
  }
  const char* const hint = name == "slot"       ? "; give --slots"
                           : name == "launches" ? "; leave out --slots"
                                                : "";
  fail(offset, "no column of the table is named '" + std::string(name) + "'" + hint);
}

void RowReader::set(RowText& row, Column column, const std::string& value, std::size_t offset) {
  if (value.find('\0') != std::string::npos) {
    fail(offset, "a text with a zero byte cannot be stored");
  }
  switch (column) {
    case kRowId:
      row.rowId = mForm.rowIds ? takeRowId(value, offset) : 0;
      break;
    case kInt:
      row.intcol1 = static_cast<std::int32_t>(number(value, -kMaxInt - 1, kMaxInt - 1, offset));
      break;
    case kApp:
      row.appName = value;
      break;
    case kRsvd:
      row.rsvdName = value;
      break;
    case kPayload:
      if (const std::string problem = payloadProblem(value, mForm.slots); !problem.empty()) {
        fail(offset, problem);
      }
      row.payload = value;
      break;
  }
}

std::int64_t RowReader::takeRowId(const std::string& text, std::size_t offset) {
  // The store writes no higher ones.
  const std::int64_t rowId = number(text, 1, kMaxInt, offset);
  if (mForm.rowIds->erase(rowId) == 0) {
    fail(offset, "rowid " + text + " is not in the table, or was there before");
  }
  return rowId;
}

void RowReader::checkGiven(bool app, bool payload, std::size_t offset) const {
  if (!app || !payload) {
    fail(offset, std::string("no ") + columnName(app ? kPayload : kApp) + " is given");
  }
}

std::int64_t RowReader::number(const std::string& text, std::int64_t low, std::int64_t high,
                               std::size_t offset) const {
  if (const std::string problem = wholeNumberProblem(text, low, high); !problem.empty()) {
    fail(offset, problem);
  }
  return std::stoll(text);
}

void RowReader::fail(std::size_t offset, const std::string& problem) const {
  const std::string_view before = mText.substr(0, offset);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t column = offset - (before.rfind('\n') + 1) + 1;
  throw std::runtime_error(mForm.source + ": line " + std::to_string(line) + ", column " +
                           std::to_string(column) + ": " + problem);
}
