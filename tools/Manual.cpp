#include "Manual.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "CommandTree.h"
#include "HelpText.h"
#include "config/Nodes.h"

namespace {

constexpr char kDescription[] =
    "The library serves the learning module of an on-device performance framework: events of the "
    "display and of frames, kernel statistics, service tracking, a row store, favourite "
    "applications and kernel nodes. Each command uses one of its services as a client would. "
    "Options of lmctl itself may follow a command, too. Results go to standard output, as tables "
    "for a person or as JSON for a program; errors are one line on standard error that tells what "
    "to do. The library's own log lines go where liblog sends them: logcat on Android, standard "
    "error on a host.";

struct Entry {
  const char* term;
  const char* text;
};

constexpr Entry kExitStatus[] = {
    {"0", "Done."}, {"1", "Failed."}, {"2", "Wrong usage; nothing was done."}};

constexpr Entry kExamples[] = {
    {"lmctl doctor", "What can work here?"},
    {"lmctl watch vsync --node /proc/sys/kernel/hostname --seconds 10 --json",
     "Ten seconds of a node's events, summed up for a program."},
    {"lmctl favourites rebuild --dir . --text com.mail/com.chat/",
     "Tables of favourites in the working folder."},
    {"lmctl node write 3 performance --item 3=/tmp/governor", "A node that is not configured."},
    {". <(lmctl completion bash)", "Completion in this shell; packages install it."},
};

constexpr Entry kEnvironment[] = {
    {"NO_COLOR", "No colour when set to anything."},
    {"TERM",
     "With dumb, or unset, a terminal gets plain lines instead of a live view, without colour."},
    {"LC_ALL, LC_CTYPE, LANG", "Bars are drawn in UTF-8 where the locale has it, else in ASCII."},
    {"TMPDIR", "Where temporary folders are made."},
};

constexpr Entry kFiles[] = {
    {kForegroundTasks, "The foreground tasks, for process lookup."},
    {"/proc/meminfo", "Swap and vmalloc figures."},
    {"/sys/class/thermal", "Thermal zones, on a host."},
};

/** Text as roff shows it: no line is a request, no dash becomes a hyphen. */
std::string roff(const std::string& text) {
  std::string escaped = "\\&";
  for (const char c : text) {
    switch (c) {
      case '\\':
        escaped += "\\e";
        break;
      case '-':
        escaped += "\\-";
        break;
      case '"':
        escaped += "\\(dq";
        break;
      case '\'':
        escaped += "\\(aq";
        break;
      case '\n':
        escaped += ' ';
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

void printEntry(const std::string& term, const std::string& text, std::ostream& out) {
  out << ".TP\n\\fB" << roff(term) << "\\fR\n" << roff(text) << "\n";
}

void printArguments(const std::vector<Argument>& arguments, std::ostream& out) {
  for (const Argument& argument : arguments) {
    printEntry(typed(argument), explained(argument), out);
  }
}

void printCommand(const Command& command, std::ostream& out) {
  out << ".SS \"" << roff(usage(command)) << "\"\n" << roff(command.help) << "\n";
  printArguments(command.positionals, out);
  printArguments(command.options, out);
  if (!command.footer.empty()) {
    out << ".PP\n" << roff(command.footer) << "\n";
  }
}

template <typename Entries>
void printSection(const char* title, const Entries& entries, std::ostream& out) {
  out << ".SH " << title << "\n";
  for (const Entry& entry : entries) {
    printEntry(entry.term, entry.text, out);
  }
}

void printManual(const Command& lmctl, std::ostream& out) {
  out << ".TH LMCTL 1 \"\" \"lmsupport " LMSUPPORT_VERSION "\" \"User Commands\"\n"
      << ".nh\n.SH NAME\nlmctl \\- try out the services of liblmsupport\n"
      << ".SH SYNOPSIS\n\\fB" << roff(usage(lmctl)) << "\\fR\n"
      << ".SH DESCRIPTION\n"
      << roff(lmctl.help) << "\n"
      << roff(kDescription) << "\n.SH OPTIONS\n";
  printArguments(lmctl.options, out);
  out << ".SH COMMANDS\n";
  for (const Command* const command : flatten(lmctl)) {
    if (command->commands.empty()) {
      printCommand(*command, out);
    }
  }
  printSection("EXIT STATUS", kExitStatus, out);
  printSection("EXAMPLES", kExamples, out);
  printSection("ENVIRONMENT", kEnvironment, out);
  printSection("FILES", kFiles, out);
}

}  // namespace

void addManual(CLI::App& app, Console& console, int&) {
  app.add_subcommand("manual", "Print the manual page, as roff: see it with 'man -l'.")
      ->callback([&] { printManual(describe(app), console.out); });
}
