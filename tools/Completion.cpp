#include "Completion.h"

#include <CLI/CLI.hpp>
#include <ostream>

void addCompletion(CLI::App& app, Console& console, int&) {
  CLI::App* const completion =
      app.add_subcommand("completion", "Print a script that completes commands in a shell.");
  completion->require_subcommand(1);
  const auto add = [&](const char* shell, const char* description,
                       void (*print)(const Command&, std::ostream&)) {
    completion->add_subcommand(shell, description)->callback([&app, &console, print] {
      print(describe(app), console.out);
    });
  };
  add("bash", "Use it with '. <(lmctl completion bash)'.", printBashCompletion);
  add("zsh", "Save it as _lmctl in a folder of fpath.", printZshCompletion);
  add("fish", "Use it with 'lmctl completion fish | source'.", printFishCompletion);
}
