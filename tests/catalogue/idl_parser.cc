#include "tests/catalogue/idl_parser.h"

#include <cctype>
#include <fstream>
#include <sstream>

namespace idl {
namespace {

struct Token {
  enum Type { Word, String, Punct, End } type = End;
  std::string text;
  int line = 0;
};

std::vector<Token> tokenize(const std::string& s) {
  std::vector<Token> out;
  int line = 1;
  size_t i = 0;
  auto fail = [&](const std::string& what) {
    throw ParseError("line " + std::to_string(line) + ": " + what);
  };
  while (i < s.size()) {
    char c = s[i];
    if (c == '\n') {
      ++line;
      ++i;
    } else if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
    } else if (s.compare(i, 2, "//") == 0) {
      while (i < s.size() && s[i] != '\n') ++i;
    } else if (s.compare(i, 2, "/*") == 0) {
      size_t e = s.find("*/", i + 2);
      if (e == std::string::npos) fail("unterminated comment");
      for (size_t k = i; k < e; ++k) line += s[k] == '\n';
      i = e + 2;
    } else if (c == '"') {
      std::string text;
      ++i;
      while (i < s.size() && s[i] != '"') {
        if (s[i] == '\\' && i + 1 < s.size()) ++i;
        text += s[i++];
      }
      ++i;
      out.push_back({Token::String, text, line});
    } else if (std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-') {
      size_t b = i;
      while (i < s.size() && (std::isalnum(static_cast<unsigned char>(s[i])) || s[i] == '_' ||
                              s[i] == '-' || s[i] == '.'))
        ++i;
      out.push_back({Token::Word, s.substr(b, i - b), line});
    } else if (std::string("[](){},;*=:").find(c) != std::string::npos) {
      out.push_back({Token::Punct, std::string(1, c), line});
      ++i;
    } else {
      fail(std::string("unexpected character '") + c + "'");
    }
  }
  out.push_back({Token::End, "", line});
  return out;
}

class Parser {
 public:
  explicit Parser(std::vector<Token> toks) : t_(std::move(toks)) {}

  File file() {
    File f;
    while (!at_end()) {
      if (is_word("import")) {
        next();
        string();
        expect(";");
      } else if (is_word("interface")) {
        next();
        word();  // a forward declaration
        expect(";");
      } else if (is_word("typedef")) {
        f.enums.push_back(enumeration());
      } else if (is("[")) {
        Attributes a = attributes();
        if (is_word("interface")) {
          f.interfaces.push_back(interface(std::move(a)));
        } else if (is_word("library")) {
          f.library = library(std::move(a));
        } else {
          fail("expected interface or library after attributes");
        }
      } else {
        fail("unexpected '" + peek().text + "'");
      }
    }
    return f;
  }

 private:
  const Token& peek(size_t ahead = 0) const {
    size_t k = std::min(p_ + ahead, t_.size() - 1);
    return t_[k];
  }
  const Token& next() {
    const Token& tok = t_[p_];
    if (p_ + 1 < t_.size()) ++p_;
    return tok;
  }
  bool at_end() const { return peek().type == Token::End; }
  bool is(const char* punct) const {
    return peek().type == Token::Punct && peek().text == punct;
  }
  bool is_word(const char* w) const { return peek().type == Token::Word && peek().text == w; }
  [[noreturn]] void fail(const std::string& what) const {
    throw ParseError("line " + std::to_string(peek().line) + ": " + what);
  }
  void expect(const char* punct) {
    if (!is(punct)) fail(std::string("expected '") + punct + "', found '" + peek().text + "'");
    next();
  }
  void expect_word(const char* w) {
    if (!is_word(w)) fail(std::string("expected '") + w + "'");
    next();
  }
  std::string word() {
    if (peek().type != Token::Word) fail("expected a name, found '" + peek().text + "'");
    return next().text;
  }
  std::string string() {
    if (peek().type != Token::String) fail("expected a string");
    return next().text;
  }

  Attributes attributes() {
    Attributes a;
    expect("[");
    for (;;) {
      std::string name = word();
      std::string arg;
      if (is("(")) {
        next();
        int depth = 1;
        for (;;) {
          if (at_end()) fail("unterminated attribute argument");
          if (is("(")) ++depth;
          if (is(")") && --depth == 0) break;
          arg += next().text;
        }
        next();
      }
      a.items.emplace_back(name, arg);
      if (is("]")) break;
      expect(",");
    }
    next();
    return a;
  }

  std::string type() {
    std::string t = word();
    if (is("(")) {
      next();
      t += "(" + type() + ")";
      expect(")");
    }
    while (is("*")) {
      next();
      t += "*";
    }
    return t;
  }

  Enum enumeration() {
    Enum e;
    expect_word("typedef");
    expect_word("enum");
    e.name = word();
    expect("{");
    while (!is("}")) {
      EnumConst c;
      if (is("[")) attributes();  // [helpstring(...)]
      c.name = word();
      expect("=");
      c.value = static_cast<int32_t>(static_cast<uint32_t>(std::stoll(word(), nullptr, 0)));
      e.consts.push_back(std::move(c));
      if (!is("}")) expect(",");
    }
    next();
    if (word() != e.name) fail("typedef name differs from enum tag");
    expect(";");
    return e;
  }

  Member member(Attributes a) {
    Member m;
    m.attrs = std::move(a);
    if (m.attrs.has("propget") && m.attrs.has("propput")) fail("propget and propput");
    if (m.attrs.has("propget")) m.kind = Kind::PropGet;
    if (m.attrs.has("propput")) m.kind = Kind::PropPut;
    if (auto id = m.attrs.arg("id")) {
      if (*id == "DISPID_NEWENUM") {
        m.dispid = -4;
      } else {
        m.dispid = static_cast<int32_t>(std::stoll(*id, nullptr, 0));
      }
    }
    m.return_type = type();
    std::string n = word();
    if (peek().type == Token::Word) {
      m.calling_convention = n;
      n = word();
    }
    m.name = n;
    expect("(");
    while (!is(")")) {
      Param p;
      if (is("[")) p.attrs = attributes();
      p.type = type();
      p.name = word();
      m.params.push_back(std::move(p));
      if (!is(")")) expect(",");
    }
    next();
    expect(";");
    return m;
  }

  Interface interface(Attributes a) {
    Interface i;
    i.attrs = std::move(a);
    expect_word("interface");
    i.name = word();
    expect(":");
    i.base = word();
    expect("{");
    while (!is("}")) i.members.push_back(member(attributes()));
    next();
    expect(";");
    return i;
  }

  Library library(Attributes a) {
    Library l;
    l.attrs = std::move(a);
    expect_word("library");
    l.name = word();
    expect("{");
    while (!is("}")) {
      if (is_word("importlib")) {
        next();
        expect("(");
        string();
        expect(")");
        expect(";");
        continue;
      }
      Attributes ca = attributes();
      if (is_word("coclass")) {
        next();
        Coclass c;
        c.attrs = std::move(ca);
        c.name = word();
        expect("{");
        while (!is("}")) {
          CoclassInterface ci;
          if (is("[")) ci.is_default = attributes().has("default");
          expect_word("interface");
          ci.name = word();
          expect(";");
          c.interfaces.push_back(ci);
        }
        next();
        expect(";");
        l.coclasses.push_back(std::move(c));
      } else if (is_word("module")) {
        next();
        Module m;
        m.attrs = std::move(ca);
        m.name = word();
        expect("{");
        while (!is("}")) m.functions.push_back(member(attributes()));
        next();
        expect(";");
        l.modules.push_back(std::move(m));
      } else {
        fail("expected coclass or module");
      }
    }
    next();
    expect(";");
    return l;
  }

  std::vector<Token> t_;
  size_t p_ = 0;
};

}  // namespace

bool Attributes::has(const std::string& name) const { return arg(name).has_value(); }

std::optional<std::string> Attributes::arg(const std::string& name) const {
  for (const auto& [n, a] : items)
    if (n == name) return a;
  return std::nullopt;
}

const Interface* File::find_interface(const std::string& name) const {
  for (const Interface& i : interfaces)
    if (i.name == name) return &i;
  return nullptr;
}

std::vector<const Member*> File::vtable_members(const std::string& name) const {
  std::vector<const Interface*> chain;
  for (const Interface* i = find_interface(name); i; i = find_interface(i->base)) {
    if (chain.size() > interfaces.size()) throw ParseError("interface cycle at " + name);
    chain.insert(chain.begin(), i);
  }
  std::vector<const Member*> out;
  for (const Interface* i : chain)
    for (const Member& m : i->members) out.push_back(&m);
  return out;
}

File parse(const std::string& text) { return Parser(tokenize(text)).file(); }

File parse_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ParseError("cannot open " + path);
  std::ostringstream ss;
  ss << in.rdbuf();
  return parse(ss.str());
}

}  // namespace idl
