// kzmsg: reads, writes and checks kzcommon's messages from the command line.
// A client of the library like any other: it uses the public API alone.
#include <kzcommon/kzcommon.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "commands.h"

#ifndef KZMSG_VERSION
#error "KZMSG_VERSION: the build gives the project's version"
#endif

namespace kzmsg {
namespace {

struct OptionSpec {
  const char* name;
  bool takesValue;
  const char* help;
};

// One command.
struct CommandSpec {
  const char* name;
  const char* synopsis;
  const char* help;
  std::vector<OptionSpec> options;
  std::size_t minArgs;
  std::size_t maxArgs;  // kMany: no limit
  int (*run)(const Invocation&);
};

constexpr std::size_t kMany = static_cast<std::size_t>(-1);

const OptionSpec kJson = {"--json", false,
                          "print the result as one JSON object"};

const std::vector<CommandSpec>& Commands() {
  static const std::vector<CommandSpec> commands = {
      {"lookup",
       "lookup <result code> [--catalog <module>]",
       "Raises <result code> (decimal or 0x hex, negative or not) as a\n"
       "component without a map of its own does, and prints the message\n"
       "that reaches the queue: its id, type and text, and the simple and\n"
       "detail texts of its composite, after the code's severity, facility\n"
       "and code fields. The default map gives the id; the text comes from\n"
       "--catalog if that has one under the id, else from the library's\n"
       "own catalog. A failure code in no map is raised as E_UNEXPECTED\n"
       "with message 8, and lookup shows that message; a success code is\n"
       "not raised at all.\n"
       "JSON: {\"code\", \"value\", \"severity\", \"facility\",\n"
       "\"facility_name\", \"code_field\", \"mapped\", \"raised\": {\"code\",\n"
       "\"type\", \"message_id\", \"catalog\", \"text\", \"simple\", "
       "\"detail\",\n"
       "\"error_number\"} or null}.\n",
       {kJson,
        {"--catalog", true, "the catalog module asked before the library's"}},
       1,
       1,
       RunLookup},
      {"get",
       "get <catalog> <id> [<argument>...]",
       "Prints the text that <catalog> holds under <id> (0 to 65535) as it\n"
       "stands, its N$ prefix included. With arguments, or with --format,\n"
       "the text is formatted first, as CKZCatalog::GetMsg formats it: each\n"
       "placeholder takes one argument, a whole number (decimal or 0x hex)\n"
       "for %d %i %u %o %x %X and for a '*' width or precision, a text for\n"
       "%s %S, one character for %c %C, a number for %e %f %g %a.\n"
       "<catalog> is a module name that LoadLibraryW finds (beside kzmsg,\n"
       "beside the library, on the library path) or a path to a module.\n"
       "JSON: {\"catalog\", \"id\", \"text\", \"formatted\"}.\n",
       {kJson,
        {"--format", false,
         "format the text even without arguments (\"%%\" gives \"%\")"}},
       2,
       kMany,
       RunGet},
      {"list",
       "list <catalog>",
       "Prints every id of <catalog> that has a text, in order, with the\n"
       "text as it stands: \"<id>  <text>\" per line.\n"
       "JSON: {\"catalog\", \"messages\": [{\"id\", \"text\"}...]}.\n",
       {kJson},
       1,
       1,
       RunList},
      {"compose",
       "compose --type <N> [--origin <X>] [--code <Y>] <text>",
       "Writes the composite message of <text> (\"N$message\", or a message\n"
       "without number) as CKZMsgString::FormatMsg does, and prints it.\n"
       "The types 1, 2, 4, 8 and 16 have a digit of their own; any other\n"
       "type is written as '?'. --code counts only with --origin.\n"
       "JSON: {\"composite\", \"simple\", \"detail\", \"type\", \"number\",\n"
       "\"error_number\"}, as decode gives it.\n",
       {kJson,
        {"--type", true, "the message type (required)"},
        {"--origin", true, "the origin field"},
        {"--code", true, "the code field, of which four units are kept"}},
       1,
       1,
       RunCompose},
      {"decode",
       "decode <composite>",
       "Reads a composite message: its simple and detail texts, type,\n"
       "number and error number (type * 1000 + number). A type digit of '?'\n"
       "gives an unknown type and error number. A text without the _$S_\n"
       "marker is no composite: exit status 1.\n"
       "JSON: {\"composite\", \"simple\", \"detail\", \"type\", \"number\",\n"
       "\"error_number\"}; what is unknown is null.\n",
       {kJson},
       1,
       1,
       RunDecode},
      {"check",
       "check <catalog module or .rc file>...",
       "Checks catalogs before run time and prints one line per finding,\n"
       "\"<file>:<id>: <message>\": a message number that does not print in\n"
       "three digits, a '$' without a number in front, a placeholder the\n"
       "formatter refuses or must not see (%n, a field too wide), a single\n"
       "'%' in a text that has arguments, a text that replaces one of the\n"
       "library's own table, an id outside 0 to 65535, and what can't be\n"
       "read. An argument ending in .rc is read as a resource script (UTF-8);\n"
       "anything else is opened as a module. Exit status 1 if anything was\n"
       "found.\n"
       "JSON: {\"findings\": [{\"file\", \"id\", \"kind\", "
       "\"message\"}...]}.\n",
       {kJson},
       1,
       kMany,
       RunCheck},
      {"demo",
       "demo",
       "Runs a small client component, with a catalog of its own\n"
       "(kzmsg_demo_messages, installed with kzmsg), through the whole road\n"
       "of a failure: raising through the queue, logging, reading and\n"
       "clearing the queue, then publishing on the thread's error object.\n"
       "It prints what a caller sees at each step.\n",
       {},
       0,
       0,
       RunDemo},
  };
  return commands;
}

const CommandSpec* FindCommand(const std::string& name) {
  for (const CommandSpec& c : Commands()) {
    if (name == c.name) return &c;
  }
  return nullptr;
}

void PrintToolHelp(std::FILE* to) {
  std::fprintf(to,
               "usage: kzmsg [--help] [--version] <command> [<options>] "
               "[<arguments>]\n\n"
               "Reads, writes and checks kzcommon messages.\n\ncommands:\n");
  for (const CommandSpec& c : Commands()) {
    std::fprintf(to, "  %s\n", c.synopsis);
  }
  std::fprintf(to,
               "\n'kzmsg <command> --help' tells more. Exit status: 0 done, "
               "1 failed or\nfindings, 2 a wrong command line.\n");
}

void PrintCommandHelp(const CommandSpec& c) {
  std::printf("usage: kzmsg %s\n\n%s", c.synopsis, c.help);
  std::printf("\noptions:\n");
  for (const OptionSpec& o : c.options) {
    std::string name = o.name;
    if (o.takesValue) name += " <value>";
    std::printf("  %-18s %s\n", name.c_str(), o.help);
  }
  std::printf("  %-18s %s\n", "--help", "this text");
}

// The command's arguments: options (--name, --name=value, --name value)
// anywhere, "--" ends them; a single '-' starts no option, so "-5" is an
// argument.
int ParseCommandLine(const CommandSpec& c, int argc, char** argv, int first,
                     Invocation* in, bool* helpAsked) {
  bool optionsEnd = false;
  for (int i = first; i < argc; ++i) {
    std::string arg = argv[i];
    if (optionsEnd || arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
      if (!optionsEnd && arg == "-h") {
        *helpAsked = true;
        continue;
      }
      in->args.push_back(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnd = true;
      continue;
    }
    std::string name = arg;
    std::string value;
    bool inlineValue = false;
    std::size_t equals = arg.find('=');
    if (equals != std::string::npos) {
      name = arg.substr(0, equals);
      value = arg.substr(equals + 1);
      inlineValue = true;
    }
    if (name == "--help") {
      *helpAsked = true;
      continue;
    }
    const OptionSpec* option = nullptr;
    for (const OptionSpec& o : c.options) {
      if (name == o.name) option = &o;
    }
    if (option == nullptr) return Usage(*in, "unknown option " + name);
    if (option->takesValue && !inlineValue) {
      if (i + 1 >= argc) return Usage(*in, name + " needs a value");
      value = argv[++i];
    } else if (!option->takesValue && inlineValue) {
      return Usage(*in, name + " takes no value");
    }
    if (in->options.count(name) != 0) {
      return Usage(*in, name + " is given twice");
    }
    in->options[name] = value;
    if (name == "--json") in->json = true;
  }
  return kOk;
}

int Main(int argc, char** argv) {
  // Arguments and terminal output in the user's locale.
  std::setlocale(LC_ALL, "");
  int i = 1;
  for (; i < argc && argv[i][0] == '-'; ++i) {
    std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      PrintToolHelp(stdout);
      return kOk;
    }
    if (arg == "--version") {
      std::printf("kzmsg %s\n", KZMSG_VERSION);
      return kOk;
    }
    std::fprintf(stderr, "kzmsg: unknown option %s\n(see kzmsg --help)\n",
                 arg.c_str());
    return kUsage;
  }
  if (i == argc) {
    PrintToolHelp(stderr);
    return kUsage;
  }
  const CommandSpec* command = FindCommand(argv[i]);
  if (command == nullptr) {
    std::fprintf(stderr, "kzmsg: unknown command '%s'\n(see kzmsg --help)\n",
                 argv[i]);
    return kUsage;
  }
  Invocation in;
  in.command = command->name;
  bool helpAsked = false;
  int status = ParseCommandLine(*command, argc, argv, i + 1, &in, &helpAsked);
  if (helpAsked) {
    PrintCommandHelp(*command);
    return kOk;
  }
  if (status != kOk) return status;
  if (in.args.size() < command->minArgs) {
    return Usage(in, "an argument is missing");
  }
  if (in.args.size() > command->maxArgs) {
    return Usage(in, "too many arguments");
  }
  status = command->run(in);
  if (std::fflush(stdout) != 0) {
    std::fprintf(stderr, "kzmsg %s: cannot write the output\n", command->name);
    return kFailed;
  }
  return status;
}

}  // namespace
}  // namespace kzmsg

int main(int argc, char** argv) {
  // The library throws nothing; the standard library may run out of memory.
  try {
    return kzmsg::Main(argc, argv);
  } catch (const std::exception&) {
    std::fprintf(stderr, "kzmsg: out of memory\n");
    return kzmsg::kFailed;
  }
}
