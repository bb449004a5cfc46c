// Tables in tests/platform/data/: blank-separated fields, '#' comments,
// "[name]" sections. A field is bare (42, null, =>) or a quoted string after
// an optional bare prefix (s:"abc"), printable ASCII with the escapes \xHH,
// \uHHHH, \\, \" and \0. A missing, empty or malformed file fails the test.
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

// The lines of data/<name> that hold fields.
bool ReadDataFile(const std::string& name, std::vector<Line>* lines);

// Walks a line's fields; a getter fails the test, and returns false, for a
// field that is missing or doesn't parse.
class Fields {
 public:
  explicit Fields(const Line& line) : line_(line) {}

  bool AtEnd() const { return next_ >= line_.fields.size(); }
  bool Take(const Field** field);
  bool Text(std::u16string* text);                    // a quoted string
  bool TextOrNull(std::u16string* text, bool* null);  // or the word null
  // A bare decimal or 0x-hex integer within [min, max].
  bool Integer(std::int64_t min, std::int64_t max, std::int64_t* value);
  bool Expect(const char* word);  // the bare word `word`, else a failure
  bool Word(const char* word);    // takes `word` if it comes next
  bool Locales(bool* here);       // as ParseLocales reads them
  bool Fail(const std::string& message) const;  // always false

 private:
  const Line& line_;
  std::size_t next_ = 0;
};

bool ParseInteger(const std::string& text, std::int64_t* value);

// Whether the test locale is in `text`: any, mb (UTF-8 natively, code page
// 932 under Wine), C, utf8 or cp932; false for another text.
bool ParseLocales(const std::string& text, bool* here);

}  // namespace kztest

#endif  // KZCOMMON_TESTS_PLATFORM_DATA_FILE_H_
