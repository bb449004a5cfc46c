#include "data_file.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "locale_kind.h"

#ifndef KZ_TEST_DATA_DIR
#error "KZ_TEST_DATA_DIR names the folder of the recorded tables"
#endif

namespace kztest {
namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads `digits` hex digits at text[*at]; false if there are fewer.
bool ReadHex(const std::string& text, std::size_t* at, int digits,
             unsigned* value) {
  *value = 0;
  for (int i = 0; i < digits; ++i, ++*at) {
    int v = *at < text.size() ? HexValue(text[*at]) : -1;
    if (v < 0) return false;
    *value = *value * 16 + static_cast<unsigned>(v);
  }
  return true;
}

// Splits one line into fields; false with `error` set if it is malformed.
bool SplitLine(const std::string& text, std::vector<Field>* fields,
               std::string* error) {
  std::size_t at = 0;
  for (;;) {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
    if (at >= text.size()) return true;
    Field field;
    while (at < text.size() && text[at] != ' ' && text[at] != '\t' &&
           text[at] != '"') {
      field.bare.push_back(text[at++]);
    }
    if (at < text.size() && text[at] == '"') {
      field.quoted = true;
      ++at;
      for (;;) {
        if (at >= text.size()) {
          *error = "unterminated string";
          return false;
        }
        char c = text[at++];
        if (c == '"') break;
        if (c != '\\') {
          field.text.push_back(static_cast<char16_t>(c));
          continue;
        }
        char escape = at < text.size() ? text[at++] : 0;
        unsigned unit = 0;
        if (escape == '\\' || escape == '"') {
          unit = static_cast<unsigned char>(escape);
        } else if (escape == '0') {
          unit = 0;
        } else if (escape == 'x') {
          if (!ReadHex(text, &at, 2, &unit)) {
            *error = "\\x takes two hex digits";
            return false;
          }
        } else if (escape == 'u') {
          if (!ReadHex(text, &at, 4, &unit)) {
            *error = "\\u takes four hex digits";
            return false;
          }
        } else {
          *error = std::string("unknown escape \\") + escape;
          return false;
        }
        field.text.push_back(static_cast<char16_t>(unit));
      }
      if (at < text.size() && text[at] != ' ' && text[at] != '\t') {
        *error = "text after a closing quote";
        return false;
      }
    }
    fields->push_back(field);
  }
}

}  // namespace

bool ReadDataFile(const std::string& name, std::vector<Line>* lines) {
  const std::string path = std::string(KZ_TEST_DATA_DIR) + "/" + name;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    ADD_FAILURE() << "cannot open " << path;
    return false;
  }
  std::string content;
  char chunk[4096];
  std::size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
    content.append(chunk, n);
  }
  const bool readError = std::ferror(file) != 0;
  std::fclose(file);
  if (readError) {
    ADD_FAILURE() << "cannot read " << path;
    return false;
  }
  bool ok = true;
  int number = 0;
  std::size_t start = 0;
  while (start < content.size()) {
    std::size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    std::string text = content.substr(start, end - start);
    start = end + 1;
    ++number;
    if (!text.empty() && text.back() == '\r') text.pop_back();
    Line line;
    line.where = name + ":" + std::to_string(number);
    std::string error;
    for (char c : text) {
      if (c != '\t' && (c < 0x20 || c > 0x7E)) error = "not printable ASCII";
    }
    std::size_t first = text.find_first_not_of(" \t");
    if (error.empty() && (first == std::string::npos || text[first] == '#')) {
      continue;
    }
    if (error.empty() && SplitLine(text, &line.fields, &error)) {
      lines->push_back(line);
    } else {
      ADD_FAILURE() << line.where << ": " << error;
      ok = false;
    }
  }
  if (lines->empty()) {
    ADD_FAILURE() << path << " holds no rows";
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
  const Field* field = nullptr;
  if (!Take(&field)) return false;
  if (!field->quoted || !field->bare.empty()) return Fail("expected a string");
  *text = field->text;
  return true;
}

bool Fields::Bytes(std::string* bytes) {
  std::u16string text;
  if (!Text(&text)) return false;
  bytes->clear();
  for (char16_t unit : text) {
    if (unit > 0xFF) return Fail("a unit above 0xFF in a byte string");
    bytes->push_back(static_cast<char>(unit));
  }
  return true;
}

bool Fields::Integer(std::int64_t min, std::int64_t max, std::int64_t* value) {
  const Field* field = nullptr;
  if (!Take(&field)) return false;
  if (field->quoted || !ParseInteger(field->bare, value)) {
    return Fail("expected an integer");
  }
  if (*value < min || *value > max) return Fail("integer out of range");
  return true;
}

bool Fields::Expect(const char* word) {
  const Field* field = nullptr;
  if (!Take(&field)) return false;
  if (field->quoted || field->bare != word) {
    return Fail(std::string("expected ") + word);
  }
  return true;
}

bool ParseInteger(const std::string& text, std::int64_t* value) {
  std::size_t at = 0;
  bool negative = at < text.size() && text[at] == '-';
  if (negative) ++at;
  int base = 10;
  if (text.compare(at, 2, "0x") == 0) {
    base = 16;
    at += 2;
  }
  if (at >= text.size()) return false;
  std::uint64_t magnitude = 0;
  for (; at < text.size(); ++at) {
    int digit = HexValue(text[at]);
    if (digit < 0 || digit >= base) return false;
    if (magnitude > (UINT64_MAX - static_cast<unsigned>(digit)) / base) {
      return false;
    }
    magnitude = magnitude * base + static_cast<unsigned>(digit);
  }
  if (magnitude > (negative ? 0x8000000000000000ULL : 0x7FFFFFFFFFFFFFFFULL)) {
    // Hex may spell a 64-bit pattern, such as 0xffffffffffffffff.
    if (negative || base != 16) return false;
  }
  *value = negative ? static_cast<std::int64_t>(0 - magnitude)
                    : static_cast<std::int64_t>(magnitude);
  return true;
}

namespace {
constexpr unsigned kC = 1, kUtf8 = 2, kCp932 = 4;
}  // namespace

bool ParseLocales(const std::string& text, unsigned* locales) {
  if (text == "any") {
    *locales = kC | kUtf8 | kCp932;
    return true;
  }
  if (text == "mb") {
    *locales = kUtf8 | kCp932;
    return true;
  }
  *locales = 0;
  std::size_t start = 0;
  for (;;) {
    std::size_t end = text.find(',', start);
    std::string name = text.substr(start, end - start);
    if (name == "C") {
      *locales |= kC;
    } else if (name == "utf8") {
      *locales |= kUtf8;
    } else if (name == "cp932") {
      *locales |= kCp932;
    } else {
      return false;
    }
    if (end == std::string::npos) return true;
    start = end + 1;
  }
}

bool InCurrentLocale(unsigned locales) {
  switch (CurrentLocaleKind()) {
    case LocaleKind::kC:
      return (locales & kC) != 0;
    case LocaleKind::kUtf8:
      return (locales & kUtf8) != 0;
    case LocaleKind::kCp932:
      return (locales & kCp932) != 0;
    default:
      ADD_FAILURE() << "unknown test locale";
      return false;
  }
}

}  // namespace kztest
