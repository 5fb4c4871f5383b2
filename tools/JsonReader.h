#pragma once

#include <nlohmann/json.hpp>

#include "RowReader.h"

/** Reads JSON: objects, one after the other or as the elements of an array. Null is not set. */
class JsonReader final : public RowReader {
 public:
  JsonReader(std::string_view text, std::size_t begin, RowForm form);

  std::optional<RowText> next() override;

 private:
  void skipSpace();

  /** Goes to the next object's brace; false at the end. */
  bool findObject();

  /** The text of the object that begins here, which is skipped. */
  std::string_view takeObject();
  nlohmann::json parse(std::string_view object, std::size_t offset) const;

  const bool mIsArray;
  bool mIsArrayOver = false;
  bool mIsFirst = true;
};
