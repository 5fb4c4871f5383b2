#include <CLI/CLI.hpp>

#include "CommandLine.h"
#include "DbCommands.h"
#include "Payloads.h"

namespace {

void addKey(CLI::App& command, DbOptions& options) {
  command.add_option("FILE", options.file, "Database file")->required()->check(notEmpty());
  command.add_option("TABLE", options.table, "Its table")
      ->required()
      ->check(CLI::Validator(tableNameProblem, "", ""));
  const CLI::Validator isKeyText(keyTextProblem, "", "");
  command.add_option("--app", options.key.appName, "Application name")
      ->type_name("NAME")
      ->check(isKeyText);
  command.add_option("--rsvd", options.key.rsvdName, "Second name")
      ->type_name("NAME")
      ->check(isKeyText);
  command.add_option("--int", options.key.intcol1, "Integer column")
      ->type_name("N")
      ->default_str("none")
      ->transform(wholeNumber(std::numeric_limits<std::int32_t>::min(), kNoIntcol1 - 1));
}

void addSlots(CLI::App& command, DbOptions& options) {
  command.add_flag("--slots", options.slots, "The payload is a slot's text, not a launch count");
}

void addDbPutOptions(CLI::App& put, DbOptions& options) {
  CLI::Option* const value =
      put.add_option("VALUE", options.value, "The payload: a launch count or a slot's text")
          ->needs(put.get_option("--app"));
  CLI::Option* const from =
      put.add_option("--from", options.from,
                     "File of rows to add, or - for standard input: CSV with "
                     "a line of names, JSON lines or what dump --json prints");
  from->type_name("FILE")->check(notEmpty())->excludes(value);
  for (const char* const field : {"--app", "--rsvd", "--int"}) {
    from->excludes(put.get_option(field));
  }
  put.add_flag("--update", options.update, "Rows with a rowid replace the row that has it")
      ->needs(from);
  put.parse_complete_callback([=, &options] {
    if (value->count() + from->count() == 0) {
      throw CLI::RequiredError("VALUE or --from");
    }
    const std::string problem =
        from->count() == 0 ? payloadProblem(options.value, options.slots) : "";
    if (!problem.empty()) {
      throw CLI::ValidationError("VALUE", problem);
    }
  });
  put.footer(
      "VALUE needs --app. The names of --from are those that dump prints: rowid, int, app, rsvd,\n"
      "and launches or slot. Nothing is written unless all rows are good. Without --update,\n"
      "rowids are ignored and every row is a new one.");
}

}  // namespace

void addDb(CLI::App& app, Console& console, int& status) {
  CLI::App* const db = app.add_subcommand("db", "Look into a row store's file.");
  db->require_subcommand(1);
  const Commands<DbOptions> commands(*db, console, status);
  DbOptions& options = *commands.options;
  CLI::App* const dump =
      commands.add("dump", "Print the rows that match the key.",
                   "an array of {rowid, int, app, rsvd, and launches or slot}", dbDump);
  addKey(*dump, options);
  addSlots(*dump, options);
  CLI::App* const put =
      commands.add("put", "Add a row with the key's fields, or the rows of a file.",
                   "an object {put}, the number of rows", dbPut);
  addKey(*put, options);
  addSlots(*put, options);
  addDbPutOptions(*put, options);
  CLI::App* const remove =
      commands.add("delete", "Delete the rows that match the key; all without one.",
                   "an object {deleted}, the number of rows", dbDelete);
  addKey(*remove, options);
}
