// kzmsg's commands: one function each, given the parsed command line.
#ifndef KZCOMMON_TOOLS_KZMSG_COMMANDS_H_
#define KZCOMMON_TOOLS_KZMSG_COMMANDS_H_

#include <map>
#include <string>
#include <vector>

namespace kzmsg {

// Exit statuses.
enum Status {
  kOk = 0,
  kFailed = 1,  // the request can't be served, or check found something
  kUsage = 2,   // the command line is wrong
};

struct Invocation {
  std::string command;
  std::vector<std::string> args;               // the positional arguments
  std::map<std::string, std::string> options;  // "--name" to its value
  bool json = false;

  bool Has(const char* option) const { return options.count(option) != 0; }
};

// "kzmsg <command>: <message>" on stderr; returns the status to exit with.
int Fail(const Invocation& in, const std::string& message);
int Usage(const Invocation& in, const std::string& message);

int RunGet(const Invocation& in);
int RunList(const Invocation& in);
int RunCompose(const Invocation& in);
int RunDecode(const Invocation& in);
int RunCheck(const Invocation& in);

}  // namespace kzmsg

#endif  // KZCOMMON_TOOLS_KZMSG_COMMANDS_H_
