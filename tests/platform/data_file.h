// Recorded tables kept as text files under tests/platform/data/, read the
// same way natively and in the Windows build under Wine.
//
// A line holds fields separated by blanks; '#' starts a comment line, and
// "[name]" alone on a line starts a section. A field is bare text (42, null,
// =>) or a string in double quotes, possibly after a bare prefix (s:"abc").
// Inside quotes, \xHH is the unit 0xHH, \uHHHH the unit 0xHHHH, and \\, \"
// and \0 stand for themselves; everything else must be printable ASCII, so
// that a file says exactly which bytes or units it means. Nothing here skips:
// a missing, empty or malformed file, or a field that does not parse, fails
// the running test.
#ifndef KZCOMMON_TESTS_PLATFORM_DATA_FILE_H_
#define KZCOMMON_TESTS_PLATFORM_DATA_FILE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kztest {

struct Field {
  std::string bare;  // the text outside quotes: all of a bare field
  bool quoted = false;
  std::u16string text;  // the quoted part, one element per unit
};

struct Line {
  std::string where;    // "file:line", for failure messages
  std::string section;  // of the last "[name]" line before it
  std::vector<Field> fields;
};

// The lines of data/<name> that hold fields. Adds a failure and returns
// false when the file can't be read, holds no line, or a line is malformed.
bool ReadDataFile(const std::string& name, std::vector<Line>* lines);

// Walks one line's fields. Each getter adds a failure naming the line and
// returns false when the field is missing or doesn't parse.
class Fields {
 public:
  explicit Fields(const Line& line) : line_(line) {}

  bool AtEnd() const { return next_ >= line_.fields.size(); }
  bool Take(const Field** field);
  bool Text(std::u16string* text);                    // a quoted string
  bool TextOrNull(std::u16string* text, bool* null);  // or the word null
  // A bare decimal or 0x-hex integer within [min, max].
  bool Integer(std::int64_t min, std::int64_t max, std::int64_t* value);
  // The bare word `word`; Word takes it only if it is there, silently.
  bool Expect(const char* word);
  bool Word(const char* word);
  bool Locales(bool* here);                     // as ParseLocales reads them
  bool Fail(const std::string& message) const;  // always false

 private:
  const Line& line_;
  std::size_t next_ = 0;
};

// A bare integer, decimal or 0x-hex, with an optional '-'.
bool ParseInteger(const std::string& text, std::int64_t* value);

// Whether the current test locale is in `text`: "any", "mb" (the multibyte
// one, UTF-8 natively and code page 932 under Wine), or one of C, utf8 and
// cp932. False if `text` is none of these.
bool ParseLocales(const std::string& text, bool* here);

}  // namespace kztest

#endif  // KZCOMMON_TESTS_PLATFORM_DATA_FILE_H_
