#include <CLI/CLI.hpp>
#include <memory>

#include "CommandLine.h"
#include "DbCommands.h"

namespace {

CLI::App* addDbCommand(CLI::App& db, Console& console, int& status, const char* name,
                       const char* description, const std::shared_ptr<DbOptions>& options,
                       int (*command)(const DbOptions&, Console&)) {
  CLI::App* const app = db.add_subcommand(name, description);
  app->add_option("FILE", options->file, "Database file")->required();
  app->add_option("TABLE", options->table, "Its table")
      ->required()
      ->check(CLI::Validator(tableNameProblem, "", ""));
  app->add_flag("--slots", options->slots, "The payload is a slot's text, not a launch count");
  const CLI::Validator isKeyText(keyTextProblem, "", "");
  app->add_option("--app", options->key.appName, "Application name")->check(isKeyText);
  app->add_option("--rsvd", options->key.rsvdName, "Second name")->check(isKeyText);
  app->add_option("--int", options->key.intcol1, "Integer column")->default_str("none");
  app->callback([=, &console, &status] { status = command(*options, console); });
  return app;
}

void addDbPutOptions(CLI::App& put, DbOptions& options) {
  CLI::Option* const value =
      put.add_option("VALUE", options.value, "The payload: a launch count or a slot's text");
  CLI::Option* const from =
      put.add_option("--from", options.from,
                     "File of rows to add, or - for standard input: CSV with "
                     "a line of names, JSON lines or what dump --json prints");
  from->type_name("ROWS")->excludes(value);
  for (const char* const field : {"--app", "--rsvd", "--int"}) {
    from->excludes(put.get_option(field));
  }
  put.add_flag("--update", options.update, "Rows with a rowid replace the row that has it")
      ->needs(from);
  put.parse_complete_callback([=] {
    if (value->count() + from->count() == 0) {
      throw CLI::RequiredError("VALUE or --from");
    }
  });
  put.footer(
      "The names of --from are those that dump prints: rowid, int, app, rsvd, and launches\n"
      "or slot. Nothing is written unless all rows are good. Without --update, rowids are\n"
      "ignored and every row is a new one.");
}

}  // namespace

void addDb(CLI::App& app, Console& console, int& status) {
  CLI::App* const db = app.add_subcommand("db", "Look into a row store's file.");
  db->require_subcommand(1);
  const auto options = std::make_shared<DbOptions>();
  const auto add = [&](const char* name, const char* description,
                       int (*command)(const DbOptions&, Console&)) {
    return addDbCommand(*db, console, status, name, description, options, command);
  };
  CLI::App* const dump = add("dump", "Print the rows that match the key.", dbDump);
  addJson(*dump, options->json, "an array of {rowid, int, app, rsvd, and launches or slot}");
  addDbPutOptions(*add("put", "Add a row with the key's fields, or the rows of a file.", dbPut),
                  *options);
  CLI::App* const remove =
      add("delete", "Delete the rows that match the key; all without one.", dbDelete);
  addJson(*remove, options->json, "an object {deleted}, the number of rows");
}
