#include "commands.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "check.h"
#include "format_scan.h"
#include "rc_file.h"
#include "text.h"

namespace kzmsg {

int Fail(const Invocation& in, const std::string& message) {
  std::fprintf(stderr, "kzmsg %s: %s\n", in.command.c_str(), message.c_str());
  return kFailed;
}

int Usage(const Invocation& in, const std::string& message) {
  std::fprintf(stderr, "kzmsg %s: %s\n(see kzmsg %s --help)\n",
               in.command.c_str(), message.c_str(), in.command.c_str());
  return kUsage;
}

namespace {
constexpr std::uint32_t kLastId = 65535;
}  // namespace

void Print(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

bool ParseNumber(const std::string& text, std::int64_t min, std::int64_t max,
                 const char* what, std::int64_t* out, std::string* error) {
  std::size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    negative = text[i] == '-';
    ++i;
  }
  int base = 10;
  if (text.size() - i > 2 && text[i] == '0' &&
      (text[i + 1] == 'x' || text[i + 1] == 'X')) {
    base = 16;
    i += 2;
  }
  if (i == text.size()) {
    *error = std::string(what) + " '" + text + "' is not a number";
    return false;
  }
  std::uint64_t magnitude = 0;
  bool tooLarge = false;
  for (; i < text.size(); ++i) {
    char c = text[i];
    int digit = c >= '0' && c <= '9'   ? c - '0'
                : c >= 'a' && c <= 'f' ? c - 'a' + 10
                : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                       : 99;
    if (digit >= base) {
      *error = std::string(what) + " '" + text + "' is not a number";
      return false;
    }
    if (magnitude > (0xFFFFFFFFFFFFFFFFull - static_cast<unsigned>(digit)) /
                        static_cast<unsigned>(base)) {
      tooLarge = true;
    } else {
      magnitude = magnitude * static_cast<unsigned>(base) +
                  static_cast<unsigned>(digit);
    }
  }
  std::uint64_t limit = negative ? static_cast<std::uint64_t>(-(min + 1)) + 1
                                 : static_cast<std::uint64_t>(max);
  if (min >= 0 && negative && magnitude != 0) tooLarge = true;
  if (tooLarge || magnitude > limit) {
    *error = std::string(what) + " " + text + " is out of range (" +
             std::to_string(min) + " to " + std::to_string(max) + ")";
    return false;
  }
  // -(magnitude - 1) - 1 reaches the most negative value without overflow.
  *out = !negative || magnitude == 0
             ? static_cast<std::int64_t>(magnitude)
             : -static_cast<std::int64_t>(magnitude - 1) - 1;
  return true;
}

bool CatalogName(const Invocation& in, const std::string& arg, WString* name,
                 int* status) {
  if (arg.empty()) {
    *status = Usage(in, "the catalog name is empty");
    return false;
  }
  if (!Widen(arg, name)) {
    *status = Usage(in, "the catalog name is not text of this locale");
    return false;
  }
  return true;
}

bool ModuleOpens(const WString& name) {
  HMODULE module = LoadLibraryW(name.c_str());
  if (module == nullptr) return false;
  FreeLibrary(module);
  return true;
}

std::string CannotOpen(const std::string& name) {
  return "cannot open the catalog module '" + name + "'";
}

bool ReadAllTexts(CKZCatalog& catalog,
                  std::vector<std::pair<std::uint32_t, WString>>* out,
                  HRESULT* failure) {
  CKZString text;
  for (std::uint32_t id = 0; id <= kLastId; ++id) {
    HRESULT hr = catalog.GetMsgEx(text, id, nullptr);
    if (hr == E_FAIL) continue;
    if (hr < 0) {
      *failure = hr;
      return false;
    }
    out->emplace_back(id, Copy(text));
  }
  return true;
}

namespace {

bool ParseId(const std::string& text, std::uint32_t* id, std::string* error) {
  std::int64_t value;
  if (!ParseNumber(text, 0, kLastId, "id", &value, error)) return false;
  *id = static_cast<std::uint32_t>(value);
  return true;
}

// ---------------------------------------------------------------- get

template <typename T>
void ComposeOne(CKZString* piece, const WCHAR* format,
                const std::vector<int>& stars, T value) {
  switch (stars.size()) {
    case 0:
      piece->Compose(format, value);
      break;
    case 1:
      piece->Compose(format, stars[0], value);
      break;
    default:
      piece->Compose(format, stars[0], stars[1], value);
      break;
  }
}

// Formats `text` with command-line arguments, one directive at a time
// through the library's formatter, each with an argument of the type its
// conversion reads.
bool FormatWithArguments(const WString& text,
                         const std::vector<std::string>& args, WString* out,
                         std::string* error) {
  std::vector<FormatPiece> pieces = ScanFormat(text);
  std::size_t wanted = 0;
  for (const FormatPiece& p : pieces) {
    if (p.kind == FormatPiece::kDirective) {
      wanted += static_cast<std::size_t>(p.stars) + (p.known ? 1 : 0);
    }
  }
  if (wanted != args.size()) {
    *error = "the text takes " + std::to_string(wanted) + " argument" +
             (wanted == 1 ? "" : "s") + ", " + std::to_string(args.size()) +
             " given";
    return false;
  }
  WString result;
  std::size_t next = 0;
  for (const FormatPiece& p : pieces) {
    if (p.kind == FormatPiece::kLiteral) {
      result += text.substr(p.begin, p.end - p.begin);
      continue;
    }
    if (p.kind == FormatPiece::kPercent) {
      result.push_back('%');
      continue;
    }
    std::vector<int> stars;
    for (int s = 0; s < p.stars; ++s) {
      std::int64_t value;
      if (!ParseNumber(args[next], INT32_MIN, INT32_MAX, "width or precision",
                       &value, error)) {
        return false;
      }
      stars.push_back(static_cast<int>(value));
      ++next;
    }
    // An unknown conversion prints nothing; its letter follows as text.
    if (!p.known) continue;
    WString directive = text.substr(p.begin, p.end - p.begin);
    const std::string& arg = args[next++];
    std::string shown = "'" + ForTerminal(directive) + "'";
    CKZString piece;
    switch (p.conversion) {
      case 'n':
        *error = shown + " writes through its argument; kzmsg refuses it";
        return false;
      case 'p':
        *error = shown + " takes a pointer, which a command line can't give";
        return false;
      case 'd':
      case 'i':
      case 'o':
      case 'u':
      case 'x':
      case 'X': {
        std::int64_t value;
        if (p.is64) {
          if (!ParseNumber(arg, INT64_MIN, INT64_MAX, "argument", &value,
                           error)) {
            return false;
          }
          ComposeOne(&piece, directive.c_str(), stars,
                     static_cast<long long>(value));
        } else {
          // Either reading of 32 bits: -1 and 4294967295 are one value.
          if (!ParseNumber(arg, INT32_MIN, UINT32_MAX, "argument", &value,
                           error)) {
            return false;
          }
          ComposeOne(&piece, directive.c_str(), stars,
                     static_cast<int>(static_cast<std::uint32_t>(value)));
        }
        break;
      }
      case 'c':
      case 'C': {
        WString wide;
        if (p.wideText) {
          if (!Widen(arg, &wide) || wide.size() != 1) {
            *error = shown + " takes one character, not '" + arg + "'";
            return false;
          }
          ComposeOne(&piece, directive.c_str(), stars,
                     static_cast<int>(wide[0]));
        } else {
          if (arg.size() != 1) {
            *error =
                shown + " takes one single-byte character, not '" + arg + "'";
            return false;
          }
          ComposeOne(&piece, directive.c_str(), stars,
                     static_cast<int>(static_cast<unsigned char>(arg[0])));
        }
        break;
      }
      case 's':
      case 'S': {
        WString wide;
        if (p.wideText) {
          if (!Widen(arg, &wide)) {
            *error = "argument '" + arg + "' is not text of this locale";
            return false;
          }
          ComposeOne(&piece, directive.c_str(), stars, wide.c_str());
        } else {
          ComposeOne(&piece, directive.c_str(), stars, arg.c_str());
        }
        break;
      }
      default: {
        // e E f g G a A
        char* end = nullptr;
        errno = 0;
        double value = std::strtod(arg.c_str(), &end);
        if (arg.empty() || end == nullptr || *end != '\0') {
          *error = shown + " takes a number, not '" + arg + "'";
          return false;
        }
        ComposeOne(&piece, directive.c_str(), stars, value);
        break;
      }
    }
    const WCHAR* formatted = piece;
    if (formatted == nullptr) {
      *error = "the formatter refuses " + shown + " with '" + arg + "'";
      return false;
    }
    result += Copy(piece);
  }
  *out = result;
  return true;
}

}  // namespace

int RunGet(const Invocation& in) {
  int status = kOk;
  WString name;
  if (!CatalogName(in, in.args[0], &name, &status)) return status;
  std::uint32_t id;
  std::string error;
  if (!ParseId(in.args[1], &id, &error)) return Usage(in, error);

  if (!ModuleOpens(name)) return Fail(in, CannotOpen(in.args[0]));
  CKZCatalog catalog(name.c_str());
  CKZString raw;
  HRESULT hr = catalog.GetMsgEx(raw, id, nullptr);
  if (hr == E_FAIL) {
    return Fail(in, "catalog '" + in.args[0] + "' has no text under id " +
                        std::to_string(id));
  }
  if (hr < 0) return Fail(in, "the catalog failed with " + HexCode(hr));

  WString text = Copy(raw);
  std::vector<std::string> args(in.args.begin() + 2, in.args.end());
  bool formatted = !args.empty() || in.Has("--format");
  if (formatted) {
    WString result;
    if (!FormatWithArguments(text, args, &result, &error)) {
      return Fail(in, error);
    }
    text = result;
  }
  if (in.json) {
    Print("{\"catalog\": " + ForJson(name) + ", \"id\": " + std::to_string(id) +
          ", \"text\": " + ForJson(text) +
          ", \"formatted\": " + (formatted ? "true" : "false") + "}");
  } else {
    Print(ForTerminal(text));
  }
  return kOk;
}

int RunList(const Invocation& in) {
  int status = kOk;
  WString name;
  if (!CatalogName(in, in.args[0], &name, &status)) return status;
  if (!ModuleOpens(name)) return Fail(in, CannotOpen(in.args[0]));
  CKZCatalog catalog(name.c_str());
  std::vector<std::pair<std::uint32_t, WString>> texts;
  HRESULT failure = S_OK;
  if (!ReadAllTexts(catalog, &texts, &failure)) {
    return Fail(in, "the catalog failed with " + HexCode(failure));
  }
  if (in.json) {
    std::string line = "{\"catalog\": " + ForJson(name) + ", \"messages\": [";
    for (std::size_t i = 0; i < texts.size(); ++i) {
      line += (i == 0 ? "" : ", ");
      line += "{\"id\": " + std::to_string(texts[i].first) +
              ", \"text\": " + ForJson(texts[i].second) + "}";
    }
    Print(line + "]}");
    return kOk;
  }
  for (const auto& entry : texts) {
    char id[16];
    std::snprintf(id, sizeof id, "%5lu  ",
                  static_cast<unsigned long>(entry.first));
    Print(id + ForTerminal(entry.second));
  }
  return kOk;
}

namespace {

// What a composite says of itself, read from its text alone.
struct Reading {
  bool hasSimple = false;
  WString simple;
  WString detail;
  bool hasType = false;
  std::uint32_t type = 0;
  bool hasNumber = false;
  std::int64_t number = 0;
};

void Read(CKZMsgString& message, Reading* out) {
  CKZString part;
  if (message.GetMsg(0, part) >= 0 && part.operator const WCHAR*() != nullptr) {
    out->hasSimple = true;
    out->simple = Copy(part);
  }
  CKZString detail;
  if (message.GetMsg(1, detail) >= 0) out->detail = Copy(detail);

  // The section: behind the first start marker, up to the end marker.
  WString text = Copy(message);
  static const WCHAR kStart[] = {'_', '$', 'S', '_', 0};
  static const WCHAR kEnd[] = {'_', '$', 'E', '_', 0};
  std::size_t start = text.find(kStart);
  if (start == WString::npos) return;
  WString section = text.substr(start + 4);
  section = section.substr(0, section.find(kEnd));
  if (section.empty()) return;
  static const std::uint32_t kTypes[] = {1, 2, 4, 8, 16};
  if (section[0] >= '1' && section[0] <= '5') {
    out->hasType = true;
    out->type = kTypes[section[0] - '1'];
  }
  std::size_t i = 1;
  bool negative = i < section.size() && section[i] == '-';
  if (negative) ++i;
  std::size_t digits = i;
  std::int64_t number = 0;
  for (; i < section.size() && i - digits < 12 && section[i] >= '0' &&
         section[i] <= '9';
       ++i) {
    number = number * 10 + (section[i] - '0');
  }
  if (i > digits) {
    out->hasNumber = true;
    out->number = negative ? -number : number;
  }
}

std::string ErrorNumber(const Reading& r) {
  std::uint32_t value = r.type * 1000u + static_cast<std::uint32_t>(r.number);
  return std::to_string(value);
}

void PrintReading(const Invocation& in, const WString& composite,
                  const Reading& r) {
  bool known = r.hasType && r.hasNumber;
  if (in.json) {
    Print("{\"composite\": " + ForJson(composite) +
          ", \"simple\": " + (r.hasSimple ? ForJson(r.simple) : "null") +
          ", \"detail\": " + ForJson(r.detail) +
          ", \"type\": " + (r.hasType ? std::to_string(r.type) : "null") +
          ", \"number\": " + (r.hasNumber ? std::to_string(r.number) : "null") +
          ", \"error_number\": " + (known ? ErrorNumber(r) : "null") + "}");
    return;
  }
  Print("simple: " + ForTerminal(r.simple));
  Print("detail: " + ForTerminal(r.detail));
  Print("type: " + (r.hasType ? std::to_string(r.type) : "unknown"));
  Print("number: " + (r.hasNumber ? std::to_string(r.number) : "unknown"));
  Print("error number: " + (known ? ErrorNumber(r) : "unknown"));
}

bool OptionText(const Invocation& in, const char* option, WString* out,
                int* status) {
  auto found = in.options.find(option);
  if (found == in.options.end()) return true;
  if (!Widen(found->second, out)) {
    *status = Usage(in, std::string(option) + " is not text of this locale");
    return false;
  }
  return true;
}

}  // namespace

int RunCompose(const Invocation& in) {
  std::string error;
  auto type = in.options.find("--type");
  if (type == in.options.end()) return Usage(in, "--type is missing");
  std::int64_t typeValue;
  if (!ParseNumber(type->second, 0, UINT32_MAX, "type", &typeValue, &error)) {
    return Usage(in, error);
  }
  int status = kOk;
  WString text, origin, code;
  if (!Widen(in.args[0], &text)) {
    return Usage(in, "the text is not text of this locale");
  }
  if (!OptionText(in, "--origin", &origin, &status) ||
      !OptionText(in, "--code", &code, &status)) {
    return status;
  }
  CKZMsgString message;
  HRESULT hr = message.FormatMsg(static_cast<ULONG>(typeValue), text.c_str(),
                                 in.Has("--origin") ? origin.c_str() : nullptr,
                                 in.Has("--code") ? code.c_str() : nullptr);
  if (hr < 0) return Fail(in, "composing failed with " + HexCode(hr));
  WString composite = Copy(message);
  if (!in.json) {
    Print(ForTerminal(composite));
    return kOk;
  }
  Reading reading;
  Read(message, &reading);
  // The writer knows the type and the error number even where the type
  // digit is '?'.
  reading.hasType = true;
  reading.type = static_cast<std::uint32_t>(typeValue);
  PrintReading(in, composite, reading);
  return kOk;
}

int RunDecode(const Invocation& in) {
  WString text;
  if (!Widen(in.args[0], &text)) {
    return Usage(in, "the text is not text of this locale");
  }
  static const WCHAR kStart[] = {'_', '$', 'S', '_', 0};
  if (text.find(kStart) == WString::npos) {
    return Fail(in, "not a composite message: it has no _$S_ marker");
  }
  CKZMsgString message;
  message = text.c_str();
  Reading reading;
  Read(message, &reading);
  PrintReading(in, text, reading);
  return kOk;
}

namespace {

bool EndsWithRc(const std::string& path) {
  if (path.size() < 3) return false;
  std::string tail = path.substr(path.size() - 3);
  return tail[0] == '.' && (tail[1] == 'r' || tail[1] == 'R') &&
         (tail[2] == 'c' || tail[2] == 'C');
}

void FileFinding(const std::string& file, const char* kind,
                 const std::string& message, std::vector<Finding>* out) {
  Finding finding;
  finding.file = file;
  finding.hasId = false;
  finding.kind = kind;
  finding.message = message;
  out->push_back(finding);
}

}  // namespace

int RunCheck(const Invocation& in) {
  // The library's own table, to find the texts a catalog shadows.
  BuiltinTable builtin;
  {
    CKZCatalog own(OLESTR("kzcommon"));
    std::vector<std::pair<std::uint32_t, WString>> texts;
    HRESULT failure = S_OK;
    if (!ModuleOpens(OLESTR("kzcommon")) ||
        !ReadAllTexts(own, &texts, &failure)) {
      return Fail(in, "cannot read the library's own catalog 'kzcommon'");
    }
    for (auto& entry : texts) builtin[entry.first] = entry.second;
  }

  std::vector<Finding> findings;
  for (const std::string& file : in.args) {
    if (EndsWithRc(file)) {
      RcFile rc;
      if (!ReadRcFile(file, &rc)) {
        FileFinding(file, "file", "cannot read the file", &findings);
        continue;
      }
      for (const std::string& e : rc.errors) {
        FileFinding(file, "syntax", e, &findings);
      }
      for (const RcString& s : rc.strings) {
        CheckText(file, s.id, s.text, builtin, &findings);
      }
      continue;
    }
    WString name;
    if (file.empty() || !Widen(file, &name) || !ModuleOpens(name)) {
      FileFinding(file, "file", "cannot open the catalog module", &findings);
      continue;
    }
    CKZCatalog catalog(name.c_str());
    std::vector<std::pair<std::uint32_t, WString>> texts;
    HRESULT failure = S_OK;
    if (!ReadAllTexts(catalog, &texts, &failure)) {
      FileFinding(file, "file",
                  "reading the module failed with " + HexCode(failure),
                  &findings);
      continue;
    }
    for (auto& entry : texts) {
      CheckText(file, entry.first, entry.second, builtin, &findings);
    }
  }

  if (in.json) {
    std::string line = "{\"findings\": [";
    for (std::size_t i = 0; i < findings.size(); ++i) {
      const Finding& f = findings[i];
      WString file, message;
      // Paths and messages are in the terminal's encoding; JSON wants them
      // as text.
      if (!Widen(f.file, &file)) file = Ascii(f.file);
      if (!Widen(f.message, &message)) message = Ascii(f.message);
      line += (i == 0 ? "" : ", ");
      line += "{\"file\": " + ForJson(file) +
              ", \"id\": " + (f.hasId ? std::to_string(f.id) : "null") +
              ", \"kind\": \"" + f.kind +
              "\", \"message\": " + ForJson(message) + "}";
    }
    Print(line + "]}");
  } else {
    for (const Finding& f : findings) {
      Print(f.file + ":" + (f.hasId ? std::to_string(f.id) + ":" : "") + " " +
            f.message);
    }
  }
  return findings.empty() ? kOk : kFailed;
}

}  // namespace kzmsg
