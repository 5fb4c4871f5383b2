#include "JsonReader.h"

#include <algorithm>

JsonReader::JsonReader(std::string_view text, std::size_t begin, RowForm form)
    : RowReader(text, std::move(form)), mIsArray(text[begin] == '[') {
  mAt = begin + (mIsArray ? 1 : 0);
}

std::optional<RowText> JsonReader::next() {
  if (!findObject()) {
    return std::nullopt;
  }
  const std::size_t offset = mAt;
  RowText row;
  bool hasPayload = false;
  const nlohmann::json object = parse(takeObject(), offset);
  for (const auto& [name, value] : object.items()) {
    const Column column = columnNamed(name, offset);
    if (value.is_null()) {
      continue;
    }
    const bool wantsText = isText(column);
    if (wantsText ? !value.is_string() : !value.is_number_integer()) {
      fail(offset, "'" + name + "' is no " + (wantsText ? "text" : "whole number"));
    }
    set(row, column, wantsText ? value.get<std::string>() : value.dump(), offset);
    hasPayload = hasPayload || column == kPayload;
  }
  checkGiven(!row.appName.empty(), hasPayload, offset);
  return row;
}

void JsonReader::skipSpace() {
  mAt = std::min(mText.find_first_not_of(" \t\r\n", mAt), mText.size());
}

bool JsonReader::findObject() {
  skipSpace();
  if (mIsArray && peek() == ']') {
    ++mAt;
    skipSpace();
    if (!atEnd()) {
      fail(mAt, "something follows the array");
    }
    mIsArrayOver = true;
  }
  if (atEnd()) {
    if (mIsArray && !mIsArrayOver) {
      fail(mAt, "the array does not end");
    }
    return false;
  }
  if (mIsArray && !mIsFirst) {
    if (peek() != ',') {
      fail(mAt, "a comma or the array's end is missing");
    }
    ++mAt;
    skipSpace();
  }
  mIsFirst = false;
  if (peek() != '{') {
    fail(mAt, "an object is missing");
  }
  return true;
}

std::string_view JsonReader::takeObject() {
  const std::size_t begin = mAt;
  int depth = 0;
  bool inText = false;
  while (!atEnd()) {
    const char byte = mText[mAt++];
    if (inText && byte == '\\') {
      ++mAt;
    } else if (byte == '"') {
      inText = !inText;
    } else if (!inText && (byte == '{' || byte == '}')) {
      depth += byte == '{' ? 1 : -1;
    }
    if (depth == 0) {
      return mText.substr(begin, mAt - begin);
    }
  }
  fail(begin, "the object does not end");
}

nlohmann::json JsonReader::parse(std::string_view object, std::size_t offset) const try {
  return nlohmann::json::parse(object);
} catch (const nlohmann::json::parse_error& e) {
  const std::string_view text = e.what();  // with a position of its own before a colon
  fail(offset + e.byte - 1, std::string(text.substr(text.find(": ") + 2)));
}
