#include "Rows.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <ostream>

#include "Texts.h"

namespace {

void addPayload(const _preKill_User_Launched_Data& payload, Rows& row) {
  row["launches"] = payload.launchCount;
}

void addPayload(const _preKill_Favorite_Time_Slot_Data& payload, Rows& row) {
  row["slot"] = std::string(payload.slotText, strnlen(payload.slotText, sizeof(payload.slotText)));
}

template <typename T>
Rows readAll(LMDatabase<T>& store, LMDBDataRowKey& key) {
  Rows rows = Rows::array();
  for (const auto* const row : lmsupport::Owned<typename LMDatabase<T>::vecT>(
           store.readAllocateDR(key, kMaxRowsPerRead, LMDB_COL_ROWID, LMDB_ASCENDING))) {
    Rows& shown = rows.emplace_back();
    shown["rowid"] = row->rowId;
    shown["int"] = row->intcol1 != kNoIntcol1 ? Rows(row->intcol1) : Rows();
    shown["app"] = row->appName;
    shown["rsvd"] = row->rsvdName;
    addPayload(row->payload, shown);
  }
  return rows;
}

std::string cellText(const Rows& cell) {
  if (cell.is_null()) {
    return "-";
  }
  return cell.is_string() ? visible(cell.get<std::string>()) : cell.dump();
}

}  // namespace

Rows readRows(LMDatabase<_preKill_User_Launched_Data>& store, LMDBDataRowKey key) {
  return readAll(store, key);
}

Rows readRows(LMDatabase<_preKill_Favorite_Time_Slot_Data>& store, LMDBDataRowKey key) {
  return readAll(store, key);
}

void print(const Rows& rows, bool json, std::ostream& out) {
  if (json) {
    printJson(rows, out);
  } else {
    printTable(rows, out);
  }
}

void printJson(const Rows& rows, std::ostream& out) {
  out << rows.dump(2, ' ', false, Rows::error_handler_t::replace) << "\n";
}

void printTable(const Rows& rows, std::ostream& out) {
  if (rows.empty()) {
    out << "(no rows)\n";
    return;
  }
  std::vector<std::vector<std::string>> lines(1);
  for (const auto& [name, cell] : rows.front().items()) {
    lines.front().push_back(name);
  }
  for (const Rows& row : rows) {
    auto& line = lines.emplace_back();
    std::transform(row.begin(), row.end(), std::back_inserter(line), cellText);
  }
  std::vector<std::size_t> widths(lines.front().size());
  for (const auto& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      widths[i] = std::max(widths[i], line[i].size());
    }
  }
  for (const auto& line : lines) {
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
      out << std::left << std::setw(static_cast<int>(widths[i]) + 2) << line[i];
    }
    out << line.back() << "\n";
  }
}
