#include "data_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#ifndef KZ_TEST_DATA_DIR
#error "KZ_TEST_DATA_DIR names the folder of the recorded tables"
#endif

namespace kztest {
namespace {

// The error, or "" if the line is well formed.
std::string SplitLine(const std::string& text, std::vector<Field>* fields) {
  for (std::size_t at = text.find_first_not_of(" \t"); at != text.npos;
       at = text.find_first_not_of(" \t", at)) {
    Field field;
    const std::size_t end =
        std::min(text.find_first_of(" \t\"", at), text.size());
    field.bare = text.substr(at, end - at);
    field.quoted = end < text.size() && text[end] == '"';
    for (at = end + field.quoted; field.quoted && text[at] != '"'; ++at) {
      if (at >= text.size()) return "unterminated string";
      unsigned long unit = static_cast<unsigned char>(text[at]);
      if (unit == '\\') {
        const char escape = text[++at];
        const std::size_t digits = escape == 'x' ? 2 : escape == 'u' ? 4 : 0;
        const std::string hex = digits ? text.substr(at + 1, digits) : "";
        unit = digits != 0     ? std::strtoul(hex.c_str(), nullptr, 16)
               : escape == '0' ? 0
                               : static_cast<unsigned char>(escape);
        if (digits != 0
                ? hex.size() != digits ||
                      hex.find_first_not_of("0123456789abcdefABCDEF") !=
                          hex.npos
                : escape == 0 || std::strchr("0\\\"", escape) == nullptr) {
          return "bad escape";
        }
        at += digits;
      }
      field.text.push_back(static_cast<char16_t>(unit));
    }
    at += field.quoted;
    if (at < text.size() && text[at] != ' ' && text[at] != '\t') {
      return "text after a closing quote";
    }
    fields->push_back(field);
  }
  return "";
}

}  // namespace

bool ReadDataFile(const std::string& name, std::vector<Line>* lines) {
  std::ifstream file(std::string(KZ_TEST_DATA_DIR) + "/" + name,
                     std::ios::binary);
  bool ok = true;
  std::string text, section;
  for (int number = 1; std::getline(file, text); ++number) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    Line line{name + ":" + std::to_string(number), section, {}};
    const bool ascii = std::all_of(text.begin(), text.end(), [](char c) {
      return c == '\t' || (c >= 0x20 && c <= 0x7E);
    });
    const std::size_t start = text.find_first_not_of(" \t");
    if (ascii && (start == text.npos || text[start] == '#')) continue;
    const std::string error =
        ascii ? SplitLine(text, &line.fields) : "not printable ASCII";
    const std::string& first = line.fields.empty() ? "" : line.fields[0].bare;
    if (!error.empty()) {
      ADD_FAILURE() << line.where << ": " << error;
      ok = false;
    } else if (line.fields.size() == 1 && first.size() > 2 &&
               first.front() == '[' && first.back() == ']') {
      section = first.substr(1, first.size() - 2);
    } else {
      lines->push_back(line);
    }
  }
  EXPECT_FALSE(lines->empty()) << "cannot read " << name << ", or no rows";
  return ok && !lines->empty();
}

bool Fields::Fail(const std::string& message) const {
  ADD_FAILURE() << line_.where << ", field " << next_ << ": " << message;
  return false;
}

bool Fields::Take(const Field** field) {
  if (AtEnd()) return Fail("missing field");
  *field = &line_.fields[next_++];
  return true;
}

bool Fields::Text(std::u16string* text) {
  bool null = false;
  return TextOrNull(text, &null) && (!null || Fail("expected a string"));
}

bool Fields::TextOrNull(std::u16string* text, bool* null) {
  const Field* field = nullptr;
  if (!Take(&field)) return false;
  *null = !field->quoted && field->bare == "null";
  *text = field->text;
  return *null || (field->quoted && field->bare.empty()) ||
         Fail("expected a string");
}

bool Fields::Integer(std::int64_t min, std::int64_t max, std::int64_t* value) {
  const Field* field = nullptr;
  return Take(&field) &&
         ((!field->quoted && ParseInteger(field->bare, value)) ||
          Fail("expected an integer")) &&
         ((*value >= min && *value <= max) || Fail("integer out of range"));
}

bool Fields::Expect(const char* word) {
  return Word(word) || Fail(std::string("expected ") + word);
}

bool Fields::Word(const char* word) {
  const bool found = !AtEnd() && !line_.fields[next_].quoted &&
                     line_.fields[next_].bare == word;
  next_ += found ? 1 : 0;
  return found;
}

bool Fields::Locales(bool* here) {
  const Field* field = nullptr;
  return Take(&field) && ((!field->quoted && ParseLocales(field->bare, here)) ||
                          Fail("expected the locales"));
}

bool ParseInteger(const std::string& text, std::int64_t* value) {
  // Hex may spell a 64-bit pattern, such as 0xffffffffffffffff.
  const bool hex = text.compare(0, 2, "0x") == 0;
  const std::size_t first = hex ? 2 : text.compare(0, 1, "-") == 0;
  if (first >= text.size() || !std::isxdigit(text[first] & 0xFF)) return false;
  char* end = nullptr;
  errno = 0;
  *value =
      hex ? static_cast<std::int64_t>(std::strtoull(text.c_str(), &end, 16))
          : std::strtoll(text.c_str(), &end, 10);
  return errno == 0 && *end == 0;
}

bool ParseLocales(const std::string& text, bool* here) {
  // Told from the run-time's MB_CUR_MAX, not from the conversions under test:
  // 1 in C, 2 in code page 932 (Wine), more in UTF-8.
  const std::size_t kind = MB_CUR_MAX == 1 ? 0 : MB_CUR_MAX == 2 ? 2 : 1;
  const std::string names[] = {"C", "utf8", "cp932", "any", "mb"};
  const std::size_t which = std::find(names, names + 5, text) - names;
  *here = which == kind || which == 3 || (which == 4 && kind != 0);
  return which < 5;
}

}  // namespace kztest
