#include "rc_file.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

namespace kzmsg {

namespace {

bool ReadWholeFile(const std::string& path, std::string* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) return false;
  *out = buffer.str();
  return true;
}

std::string Folder(const std::string& path) {
  std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// One unit or a surrogate pair for each UTF-8 sequence; U+FFFD for a broken
// one, as resource compilers do.
void AppendUtf8(const std::string& bytes, std::size_t* i, WString* out) {
  unsigned char lead = static_cast<unsigned char>(bytes[*i]);
  std::uint32_t cp = 0xFFFD;
  int extra = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  if (lead < 0x80) {
    cp = lead;
  } else if (lead >= 0xC2 && lead <= 0xF4 && *i + extra < bytes.size()) {
    cp = lead & (0x3F >> extra);
    for (int k = 1; k <= extra; ++k) {
      unsigned char next = static_cast<unsigned char>(bytes[*i + k]);
      if ((next & 0xC0) != 0x80) {
        cp = 0xFFFD;
        extra = k - 1;
        break;
      }
      cp = cp << 6 | (next & 0x3F);
    }
  } else {
    extra = 0;
  }
  *i += static_cast<std::size_t>(extra) + 1;
  if (cp >= 0x10000 && cp <= 0x10FFFF) {
    cp -= 0x10000;
    out->push_back(static_cast<WCHAR>(0xD800 + (cp >> 10)));
    out->push_back(static_cast<WCHAR>(0xDC00 + (cp & 0x3FF)));
  } else {
    out->push_back(static_cast<WCHAR>(cp > 0x10FFFF ? 0xFFFD : cp));
  }
}

struct Token {
  enum Kind { kEnd, kName, kNumber, kString, kPunct };
  Kind kind = kEnd;
  std::string text;  // names, numbers, punctuation
  WString value;     // strings, decoded
  int line = 0;
};

bool IsNameStart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}
bool IsNameChar(char c) { return IsNameStart(c) || (c >= '0' && c <= '9'); }

bool SameName(const std::string& a, const char* b) {
  std::size_t i = 0;
  for (; i < a.size() && b[i] != 0; ++i) {
    char x = a[i] >= 'a' && a[i] <= 'z' ? static_cast<char>(a[i] - 32) : a[i];
    if (x != b[i]) return false;
  }
  return i == a.size() && b[i] == 0;
}

// Splits a script into tokens. Preprocessor lines go to `directives` as
// they stand; comments vanish.
class Lexer {
 public:
  Lexer(const std::string& text, std::vector<std::string>* errors)
      : t_(text), errors_(errors) {}

  std::vector<Token> Run(std::vector<std::string>* directives) {
    std::vector<Token> tokens;
    bool lineStart = true;
    while (i_ < t_.size()) {
      char c = t_[i_];
      if (c == '\n') {
        ++line_;
        ++i_;
        lineStart = true;
        continue;
      }
      if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
        ++i_;
        continue;
      }
      if (c == '/' && Peek(1) == '/') {
        while (i_ < t_.size() && t_[i_] != '\n') ++i_;
        continue;
      }
      if (c == '/' && Peek(1) == '*') {
        i_ += 2;
        while (i_ < t_.size() && !(t_[i_] == '*' && Peek(1) == '/')) {
          if (t_[i_] == '\n') ++line_;
          ++i_;
        }
        i_ += 2;
        continue;
      }
      if (c == '#' && lineStart) {
        std::string directive;
        while (i_ < t_.size() && t_[i_] != '\n') {
          if (t_[i_] == '\\' && Peek(1) == '\n') {
            i_ += 2;
            ++line_;
            continue;
          }
          directive.push_back(t_[i_++]);
        }
        directives->push_back(directive);
        continue;
      }
      lineStart = false;
      Token token;
      token.line = line_;
      if ((c == 'L' || c == 'l') && Peek(1) == '"') {
        ++i_;
        c = '"';
      }
      if (c == '"') {
        token.kind = Token::kString;
        // An unterminated string runs to the end of its line, and reading
        // goes on behind it.
        if (!ReadString(&token.value)) {
          errors_->push_back("line " + std::to_string(token.line) +
                             ": unterminated string");
        }
      } else if (IsNameStart(c)) {
        token.kind = Token::kName;
        while (i_ < t_.size() && IsNameChar(t_[i_])) token.text += t_[i_++];
      } else if (c >= '0' && c <= '9') {
        token.kind = Token::kNumber;
        while (i_ < t_.size() && IsNameChar(t_[i_])) token.text += t_[i_++];
      } else {
        token.kind = Token::kPunct;
        token.text = std::string(1, c);
        ++i_;
      }
      tokens.push_back(token);
    }
    return tokens;
  }

 private:
  char Peek(std::size_t ahead) const {
    return i_ + ahead < t_.size() ? t_[i_ + ahead] : '\0';
  }

  static int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  // From the opening quote to behind the closing one: "" is a quote, and
  // the C escapes a resource compiler knows are read.
  bool ReadString(WString* out) {
    ++i_;
    for (;;) {
      if (i_ >= t_.size() || t_[i_] == '\n') return false;
      char c = t_[i_];
      if (c == '"') {
        if (Peek(1) == '"') {
          out->push_back('"');
          i_ += 2;
          continue;
        }
        ++i_;
        return true;
      }
      if (c != '\\') {
        AppendUtf8(t_, &i_, out);
        continue;
      }
      char e = Peek(1);
      i_ += 2;
      switch (e) {
        case 'n':
          out->push_back('\n');
          break;
        case 't':
          out->push_back('\t');
          break;
        case 'r':
          out->push_back('\r');
          break;
        case 'a':
          out->push_back('\a');
          break;
        case 'b':
          out->push_back('\b');
          break;
        case 'f':
          out->push_back('\f');
          break;
        case 'v':
          out->push_back('\v');
          break;
        case '\\':
          out->push_back('\\');
          break;
        case '"':
          out->push_back('"');
          break;
        case '\'':
          out->push_back('\'');
          break;
        case '?':
          out->push_back('?');
          break;
        case 'x':
        case 'X': {
          std::uint32_t value = 0;
          int n = 0;
          for (; n < 4 && HexValue(Peek(0)) >= 0; ++n, ++i_) {
            value = value * 16 + static_cast<std::uint32_t>(HexValue(Peek(0)));
          }
          out->push_back(static_cast<WCHAR>(value));
          break;
        }
        default:
          if (e >= '0' && e <= '7') {
            std::uint32_t value = static_cast<std::uint32_t>(e - '0');
            for (int n = 1; n < 3 && Peek(0) >= '0' && Peek(0) <= '7';
                 ++n, ++i_) {
              value = value * 8 + static_cast<std::uint32_t>(Peek(0) - '0');
            }
            out->push_back(static_cast<WCHAR>(value));
          } else if (e == '\n' || e == '\0') {
            // The line end stays for the lexer to count.
            i_ -= 1;
            if (i_ > t_.size()) i_ = t_.size();
            return false;
          } else {
            // Unknown: the backslash stays, the character follows.
            out->push_back('\\');
            i_ -= 1;
          }
          break;
      }
    }
  }

  const std::string& t_;
  std::vector<std::string>* errors_;
  std::size_t i_ = 0;
  int line_ = 1;
};

using Macros = std::map<std::string, std::string>;

std::string Trim(const std::string& s) {
  std::size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return std::string();
  std::size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

// #define and #include lines; an include is read for its #defines alone.
void TakeDirectives(const std::vector<std::string>& directives,
                    const std::string& folder, int depth, Macros* macros) {
  for (const std::string& line : directives) {
    std::string body = Trim(line.substr(1));
    std::size_t gap = body.find_first_of(" \t");
    std::string word = body.substr(0, gap);
    std::string rest = gap == std::string::npos ? "" : Trim(body.substr(gap));
    // A comment behind a value is not part of it.
    std::size_t comment = rest.find("//");
    if (comment != std::string::npos) rest = Trim(rest.substr(0, comment));
    if (word == "define") {
      std::size_t end = 0;
      while (end < rest.size() && IsNameChar(rest[end])) ++end;
      // A macro with parameters gives no id.
      if (end > 0 && (end == rest.size() || rest[end] != '(')) {
        (*macros)[rest.substr(0, end)] = Trim(rest.substr(end));
      }
    } else if (word == "include" && depth < 8 && rest.size() > 2) {
      std::string name = rest.substr(1, rest.size() - 2);
      std::string text;
      if (ReadWholeFile(folder + name, &text)) {
        std::vector<std::string> errors;
        std::vector<std::string> nested;
        Lexer(text, &errors).Run(&nested);
        TakeDirectives(nested, Folder(folder + name), depth + 1, macros);
      }
    }
  }
}

// An id: numbers and defined names joined by + and -, with parentheses.
class IdExpression {
 public:
  IdExpression(const std::vector<Token>& tokens, std::size_t* i,
               const Macros& macros, int depth)
      : tokens_(tokens), i_(*i), macros_(macros), depth_(depth) {}

  bool Evaluate(std::int64_t* value, std::string* error) {
    return Sum(value, error);
  }
  std::size_t position() const { return i_; }

 private:
  const Token* Current() const {
    return i_ < tokens_.size() ? &tokens_[i_] : nullptr;
  }
  bool IsPunct(const char* p) const {
    const Token* t = Current();
    return t != nullptr && t->kind == Token::kPunct && t->text == p;
  }

  bool Sum(std::int64_t* value, std::string* error) {
    if (!Term(value, error)) return false;
    while (IsPunct("+") || IsPunct("-") || IsPunct("|")) {
      char op = Current()->text[0];
      ++i_;
      std::int64_t right;
      if (!Term(&right, error)) return false;
      *value = op == '+'   ? *value + right
               : op == '-' ? *value - right
                           : (*value | right);
    }
    return true;
  }

  bool Term(std::int64_t* value, std::string* error) {
    // Parentheses and signs nest by recursion: a bound keeps a hostile
    // script from exhausting the stack.
    if (++nesting_ > kMaxNesting) {
      *error = "an id nests too deep";
      return false;
    }
    bool ok = Primary(value, error);
    --nesting_;
    return ok;
  }

  bool Primary(std::int64_t* value, std::string* error) {
    const Token* t = Current();
    if (t == nullptr) {
      *error = "an id is missing";
      return false;
    }
    if (t->kind == Token::kString) {
      *error = "a string without an id";
      return false;
    }
    if (IsPunct("-") || IsPunct("+")) {
      bool negative = t->text == "-";
      ++i_;
      if (!Term(value, error)) return false;
      if (negative) *value = -*value;
      return true;
    }
    if (IsPunct("(")) {
      ++i_;
      if (!Sum(value, error)) return false;
      if (!IsPunct(")")) {
        *error = "')' is missing in an id";
        return false;
      }
      ++i_;
      return true;
    }
    if (t->kind == Token::kNumber) {
      ++i_;
      return Number(t->text, value, error);
    }
    if (t->kind == Token::kName) {
      ++i_;
      auto found = macros_.find(t->text);
      if (found == macros_.end() || depth_ > 16) {
        *error = "the id '" + t->text + "' has no value";
        return false;
      }
      std::vector<std::string> ignored;
      std::vector<std::string> errors;
      std::vector<Token> tokens = Lexer(found->second, &errors).Run(&ignored);
      std::size_t j = 0;
      IdExpression inner(tokens, &j, macros_, depth_ + 1);
      if (!inner.Evaluate(value, error)) return false;
      if (inner.i_ != tokens.size()) {
        *error = "the id '" + t->text + "' has no value";
        return false;
      }
      return true;
    }
    *error = "'" + t->text + "' can't start an id";
    return false;
  }

  static bool Number(const std::string& text, std::int64_t* value,
                     std::string* error) {
    std::string digits = text;
    while (!digits.empty() && (digits.back() == 'L' || digits.back() == 'l' ||
                               digits.back() == 'U' || digits.back() == 'u')) {
      digits.pop_back();
    }
    int base = 10;
    std::size_t i = 0;
    if (digits.size() > 2 && digits[0] == '0' &&
        (digits[1] == 'x' || digits[1] == 'X')) {
      base = 16;
      i = 2;
    }
    std::int64_t v = 0;
    for (; i < digits.size(); ++i) {
      char c = digits[i];
      int d = c >= '0' && c <= '9'   ? c - '0'
              : c >= 'a' && c <= 'f' ? c - 'a' + 10
              : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                     : 99;
      if (d >= base) {
        *error = "'" + text + "' is not a number";
        return false;
      }
      v = v * base + d;
      if (v > 0xFFFFFFFFll) {
        *error = "'" + text + "' is too large for an id";
        return false;
      }
    }
    *value = v;
    return true;
  }

  static constexpr int kMaxNesting = 64;

  const std::vector<Token>& tokens_;
  std::size_t i_;
  const Macros& macros_;
  int depth_;
  int nesting_ = 0;
};

bool IsBlockStart(const Token& t) {
  return (t.kind == Token::kName && SameName(t.text, "BEGIN")) ||
         (t.kind == Token::kPunct && t.text == "{");
}
bool IsBlockEnd(const Token& t) {
  return (t.kind == Token::kName && SameName(t.text, "END")) ||
         (t.kind == Token::kPunct && t.text == "}");
}

std::string At(int line, const std::string& what) {
  return "line " + std::to_string(line) + ": " + what;
}

}  // namespace

bool ReadRcFile(const std::string& path, RcFile* out) {
  std::string text;
  if (!ReadWholeFile(path, &text)) return false;
  RcFile result;
  std::vector<std::string> directives;
  std::vector<Token> tokens = Lexer(text, &result.errors).Run(&directives);
  Macros macros;
  TakeDirectives(directives, Folder(path), 0, &macros);

  std::size_t i = 0;
  while (i < tokens.size()) {
    if (!(tokens[i].kind == Token::kName &&
          SameName(tokens[i].text, "STRINGTABLE"))) {
      ++i;
      continue;
    }
    int tableLine = tokens[i].line;
    // Options (LANGUAGE, CHARACTERISTICS, VERSION, memory flags) up to the
    // block.
    ++i;
    while (i < tokens.size() && !IsBlockStart(tokens[i])) ++i;
    if (i == tokens.size()) {
      result.errors.push_back(At(tableLine, "STRINGTABLE without BEGIN"));
      break;
    }
    ++i;
    bool closed = false;
    while (i < tokens.size()) {
      if (IsBlockEnd(tokens[i])) {
        closed = true;
        ++i;
        break;
      }
      RcString entry;
      entry.line = tokens[i].line;
      std::string error;
      IdExpression id(tokens, &i, macros, 0);
      bool ok = id.Evaluate(&entry.id, &error);
      i = id.position();
      if (ok && i < tokens.size() && tokens[i].kind == Token::kPunct &&
          tokens[i].text == ",") {
        ++i;
      }
      bool any = false;
      while (ok && i < tokens.size() && tokens[i].kind == Token::kString) {
        entry.text += tokens[i].value;
        any = true;
        ++i;
      }
      if (ok && !any) {
        // What follows may be the next entry: read on from there.
        result.errors.push_back(At(entry.line, "an id without a string"));
        continue;
      }
      if (!ok) {
        result.errors.push_back(At(entry.line, error));
        // Go on behind the next string, or at the end of the block.
        while (i < tokens.size() && tokens[i].kind != Token::kString &&
               !IsBlockEnd(tokens[i])) {
          ++i;
        }
        while (i < tokens.size() && tokens[i].kind == Token::kString) ++i;
        continue;
      }
      result.strings.push_back(entry);
    }
    if (!closed) {
      result.errors.push_back(At(tableLine, "STRINGTABLE without END"));
    }
  }
  *out = result;
  return true;
}

}  // namespace kzmsg
