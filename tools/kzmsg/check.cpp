#include "check.h"

#include "format_scan.h"

namespace kzmsg {

namespace {

bool IsBlank(WCHAR c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' ||
         c == '\f';
}

void Add(std::vector<Finding>* out, const std::string& file, std::int64_t id,
         const char* kind, const std::string& message) {
  Finding finding;
  finding.file = file;
  finding.id = id;
  finding.kind = kind;
  finding.message = message;
  out->push_back(finding);
}

std::string Quoted(const WString& text) {
  return "\"" + ForTerminal(text) + "\"";
}

// The prefix before the first '$', read as the composite writer reads it:
// blanks, a sign, digits; what follows the digits is dropped unseen.
void CheckPrefix(const std::string& file, std::int64_t id, const WString& text,
                 std::vector<Finding>* out) {
  std::size_t dollar = text.find('$');
  if (dollar == WString::npos) return;
  WString prefix = text.substr(0, dollar);
  std::size_t i = 0;
  while (i < prefix.size() && IsBlank(prefix[i])) ++i;
  bool negative = false;
  if (i < prefix.size() && (prefix[i] == '+' || prefix[i] == '-')) {
    negative = prefix[i] == '-';
    ++i;
  }
  std::size_t digitsStart = i;
  std::int64_t number = 0;
  for (; i < prefix.size() && prefix[i] >= '0' && prefix[i] <= '9'; ++i) {
    if (number < 100000) number = number * 10 + (prefix[i] - '0');
  }
  if (i == digitsStart) {
    Add(out, file, id, "dollar-prefix",
        prefix.empty() ? "'$' without a number in front"
                       : "'$' without a number in front: " + Quoted(prefix) +
                             " is dropped");
    return;
  }
  if (i < prefix.size()) {
    Add(out, file, id, "dollar-prefix",
        "the number before '$' is followed by " + Quoted(prefix.substr(i)) +
            ", which is dropped");
  }
  if (negative) number = -number;
  if (number > 999 || number < -99) {
    std::size_t from = negative ? digitsStart - 1 : digitsStart;
    Add(out, file, id, "number-width",
        "message number " + ForTerminal(prefix.substr(from, i - from)) +
            " does not print in three digits (-99 to 999)");
  }
}

void CheckDirectives(const std::string& file, std::int64_t id,
                     const WString& text, std::vector<Finding>* out) {
  std::vector<FormatPiece> pieces = ScanFormat(text);
  // A text with a placeholder will be fetched with arguments, and then
  // every '%' is the formatter's. "% d" counts for none: a '%' with a blank
  // behind it is almost always a percent sign meant as text.
  bool withArguments = false;
  for (const FormatPiece& p : pieces) {
    if (p.TakesArgument() && !p.blankFirst) withArguments = true;
  }
  for (const FormatPiece& p : pieces) {
    if (p.kind != FormatPiece::kDirective) continue;
    WString directive = text.substr(p.begin, p.end - p.begin);
    if (p.known && p.conversion == 'n') {
      Add(out, file, id, "placeholder",
          "'" + ForTerminal(directive) +
              "' writes through its argument; a message must not hold it");
    } else if (p.tooWide) {
      Add(out, file, id, "placeholder",
          "'" + ForTerminal(directive) +
              "' asks for a field wider than the formatter lays out");
    } else if (withArguments && (!p.known || p.blankFirst)) {
      std::string shown = ForTerminal(directive);
      if (!p.known && p.conversion != 0) {
        shown += ForTerminal(WString(1, p.conversion));
      }
      Add(out, file, id, "single-percent",
          "'" + shown +
              "' in a text with arguments is not a conversion; write '%%' "
              "for a percent sign");
    }
  }
}

}  // namespace

void CheckText(const std::string& file, std::int64_t id, const WString& text,
               const BuiltinTable& builtin, std::vector<Finding>* out) {
  if (id < 0 || id > 65535) {
    Add(out, file, id, "id-range", "id outside the string tables (0 to 65535)");
  }
  CheckPrefix(file, id, text, out);
  CheckDirectives(file, id, text, out);
  if (id >= 0 && id <= 65535) {
    auto found = builtin.find(static_cast<std::uint32_t>(id));
    // The same text is no shadow: the library's own table checks clean.
    if (found != builtin.end() && found->second != text) {
      Add(out, file, id, "shadows-builtin",
          "replaces the built-in text " + Quoted(found->second) +
              " of this id");
    }
  }
}

}  // namespace kzmsg
