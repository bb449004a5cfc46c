#include "data_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <fstream>

#ifndef KZ_TEST_DATA_DIR
#error "KZ_TEST_DATA_DIR names the folder of the recorded tables"
#endif

namespace kztest {
namespace {

// The error, or "" if the line is well formed.
std::string SplitLine(const std::string& text, std::vector<Field>* fields) {
  for (std::size_t at = 0;;) {
    at = text.find_first_not_of(" \t", at);
    if (at == std::string::npos) return "";
    Field field;
    const std::size_t end =
        std::min(text.find_first_of(" \t\"", at), text.size());
    field.bare = text.substr(at, end - at);
    at = end;
    if (at < text.size() && text[at] == '"') {
      field.quoted = true;
      for (++at;;) {
        if (at >= text.size()) return "unterminated string";
        const char c = text[at++];
        if (c == '"') break;
        long unit = static_cast<unsigned char>(c);
        if (c == '\\') {
          const char escape = at < text.size() ? text[at++] : 0;
          const std::size_t digits = escape == 'x' ? 2 : escape == 'u' ? 4 : 0;
          const std::string hex = text.substr(at, digits);
          unit = escape == '0'                     ? 0
                 : escape == '\\' || escape == '"' ? escape
                                                   : -1;
          if (digits != 0 && hex.size() == digits &&
              hex.find_first_not_of("0123456789abcdefABCDEF") == hex.npos) {
            unit = std::strtol(hex.c_str(), nullptr, 16);
          }
          if (unit < 0) return "bad escape";
          at += digits;
        }
        field.text.push_back(static_cast<char16_t>(unit));
      }
      if (at < text.size() && text[at] != ' ' && text[at] != '\t') {
        return "text after a closing quote";
      }
    }
    fields->push_back(field);
  }
}

}  // namespace

bool ReadDataFile(const std::string& name, std::vector<Line>* lines) {
  std::ifstream file(std::string(KZ_TEST_DATA_DIR) + "/" + name,
                     std::ios::binary);
  bool ok = static_cast<bool>(file);
  std::string text, section;
  for (int number = 1; std::getline(file, text); ++number) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    Line line{name + ":" + std::to_string(number), section, {}};
    std::string error;
    for (char c : text) {
      if (c != '\t' && (c < 0x20 || c > 0x7E)) error = "not printable ASCII";
    }
    const std::size_t first = text.find_first_not_of(" \t");
    if (error.empty() && (first == std::string::npos || text[first] == '#')) {
      continue;
    }
    if (error.empty()) error = SplitLine(text, &line.fields);
    const std::string& bare = line.fields.empty() ? "" : line.fields[0].bare;
    if (!error.empty()) {
      ADD_FAILURE() << line.where << ": " << error;
      ok = false;
    } else if (line.fields.size() == 1 && bare.size() > 2 &&
               bare.front() == '[' && bare.back() == ']') {
      section = bare.substr(1, bare.size() - 2);
    } else {
      lines->push_back(line);
    }
  }
  if (lines->empty()) {
    ADD_FAILURE() << "cannot read " << name << ", or it holds no rows";
    return false;
  }
  return ok;
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
  if (!Take(&field)) return false;
  if (field->quoted || !ParseInteger(field->bare, value)) {
    return Fail("expected an integer");
  }
  return (*value >= min && *value <= max) || Fail("integer out of range");
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
  const bool negative = !text.empty() && text[0] == '-';
  const bool hex = text.compare(negative ? 1 : 0, 2, "0x") == 0;
  const std::size_t start = (negative ? 1 : 0) + (hex ? 2 : 0);
  if (start >= text.size() ||
      text.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789",
                             start) != std::string::npos) {
    return false;
  }
  errno = 0;
  const std::uint64_t magnitude =
      std::strtoull(text.c_str() + start, nullptr, hex ? 16 : 10);
  // Hex may spell a 64-bit pattern, such as 0xffffffffffffffff.
  if (errno == ERANGE ||
      (magnitude > (negative ? 1ULL << 63 : INT64_MAX) && (negative || !hex))) {
    return false;
  }
  *value = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
  return true;
}

bool ParseLocales(const std::string& text, bool* here) {
  // Told from its name, not from the conversions under test.
  std::string current = std::setlocale(LC_CTYPE, nullptr);
  for (char& c : current) c = static_cast<char>(std::tolower(c & 0xFF));
  const std::size_t size = current.size();
  const int kind = current == "c" || current == "posix" ? 0
                   : current.find("utf-8") != current.npos ||
                           current.find("utf8") != current.npos
                       ? 1
                   : size > 4 && current.compare(size - 4, 4, ".932") == 0 ? 2
                                                                           : -1;
  if (kind < 0) {
    ADD_FAILURE() << "unknown test locale " << current;
    return false;
  }
  const std::string names[] = {"C", "utf8", "cp932", "any", "mb"};
  const int which = static_cast<int>(std::find(names, names + 5, text) - names);
  *here = which == kind || which == 3 || (which == 4 && kind != 0);
  return which < 5;
}

}  // namespace kztest
