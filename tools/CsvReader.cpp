#include "CsvReader.h"

#include <algorithm>

CsvReader::CsvReader(std::string_view text, std::size_t begin, RowForm form)
    : RowReader(text, std::move(form)) {
  mAt = begin;
  for (const Field& name : readLine()) {
    const Column column = columnNamed(name.value, name.offset);
    if (std::find(mColumns.begin(), mColumns.end(), column) != mColumns.end()) {
      fail(name.offset, "column '" + name.value + "' is there twice");
    }
    mColumns.push_back(column);
  }
  const auto has = [this](Column column) {
    return std::find(mColumns.begin(), mColumns.end(), column) != mColumns.end();
  };
  checkGiven(has(kApp), has(kPayload), begin);
}

std::optional<RowText> CsvReader::next() {
  const std::vector<Field> fields = readLine();
  if (fields.empty()) {
    return std::nullopt;
  }
  if (fields.size() != mColumns.size()) {
    fail(fields.back().offset, "there are " + std::to_string(fields.size()) +
                                   " fields, and the first line has " +
                                   std::to_string(mColumns.size()));
  }
  RowText row;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const auto& [value, offset] = fields[i];
    if (!value.empty() || mColumns[i] == kPayload) {
      set(row, mColumns[i], value, offset);
    }
  }
  checkGiven(!row.appName.empty(), true, fields.front().offset);
  return row;
}

std::vector<CsvReader::Field> CsvReader::readLine() {
  while (skipLineEnd()) {
  }
  std::vector<Field> fields;
  if (atEnd()) {
    return fields;
  }
  fields.push_back(readField());
  while (peek() == ',') {
    ++mAt;
    fields.push_back(readField());
  }
  if (!skipLineEnd() && !atEnd()) {
    fail(mAt, "a comma or the line's end is missing; quote a field with quotes and double these");
  }
  return fields;
}

CsvReader::Field CsvReader::readField() {
  const std::size_t begin = mAt;
  if (peek() == '"') {
    return {readQuoted(), begin};
  }
  mAt = std::min(mText.find_first_of(",\"\r\n", mAt), mText.size());
  return {std::string(mText.substr(begin, mAt - begin)), begin};
}

std::string CsvReader::readQuoted() {
  const std::size_t begin = mAt;
  std::string value;
  do {
    const std::size_t quote = mText.find('"', ++mAt);
    if (quote == std::string_view::npos) {
      fail(begin, "the quoted field does not end");
    }
    value += mText.substr(mAt, quote + 1 - mAt);  // the quote belongs to it if one more follows
    mAt = quote + 1;
  } while (peek() == '"');
  value.pop_back();
  return value;
}

bool CsvReader::skipLineEnd() {
  const std::string_view rest = mText.substr(mAt, 2);
  const std::size_t length = rest == "\r\n" ? 2 : rest.starts_with('\n') ? 1 : 0;
  mAt += length;
  return length > 0;
}
