// kzmsg's commands: one function each, given the parsed command line.
#ifndef KZCOMMON_TOOLS_KZMSG_COMMANDS_H_
#define KZCOMMON_TOOLS_KZMSG_COMMANDS_H_

#include <kzcommon/kzcommon.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "text.h"

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

// Helpers that several commands share.

// One line on stdout.
void Print(const std::string& line);
// A whole number in decimal or in hex with 0x, with an optional sign, within
// [min, max]. `what` names it in the message.
bool ParseNumber(const std::string& text, std::int64_t min, std::int64_t max,
                 const char* what, std::int64_t* out, std::string* error);
// A module name as LoadLibraryW takes it: a bare name looked for beside
// kzmsg, beside the library and on the library path, or a path. False with
// *status set (a usage error) if the argument can't be one.
bool CatalogName(const Invocation& in, const std::string& arg, WString* name,
                 int* status);
// Whether the module opens at all: CKZCatalog answers E_FAIL both for a
// module it can't open and for an id without a text, and a user needs to
// know which.
bool ModuleOpens(const WString& name);
std::string CannotOpen(const std::string& name);
// Every id of the catalog with a non-empty text, in order, unformatted.
bool ReadAllTexts(CKZCatalog& catalog,
                  std::vector<std::pair<std::uint32_t, WString>>* out,
                  HRESULT* failure);

int RunLookup(const Invocation& in);
int RunDemo(const Invocation& in);
int RunGet(const Invocation& in);
int RunList(const Invocation& in);
int RunCompose(const Invocation& in);
int RunDecode(const Invocation& in);
int RunCheck(const Invocation& in);

}  // namespace kzmsg

#endif  // KZCOMMON_TOOLS_KZMSG_COMMANDS_H_
