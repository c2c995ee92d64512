#include "server/registrar.h"

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "platform/error_info.h"
#include "platform/strings.h"

namespace mlr::server {
namespace {

enum class KeyFlag { kNone, kForceRemove, kNoRemove, kDelete };

struct ScriptKey {
  KeyFlag flag = KeyFlag::kNone;
  OleString name;
  bool has_default = false;
  OleString default_value;
  std::vector<std::pair<OleString, OleString>> values;
  std::vector<ScriptKey> children;
};

struct ScriptRoot {
  HKEY root;
  std::vector<ScriptKey> keys;
};

struct Token {
  std::string text;
  bool quoted = false;
  int line = 0;
};

bool SameWord(const std::string& a, const char* b) {
  size_t i = 0;
  for (; i < a.size() && b[i]; ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return i == a.size() && !b[i];
}

class Parser {
 public:
  Parser(const std::string& script, const std::map<std::string, std::string>& variables)
      : script_(script), variables_(variables) {}

  bool Parse(std::vector<ScriptRoot>* roots) {
    if (!Tokenize()) return false;
    while (pos_ < tokens_.size()) {
      const Token& t = tokens_[pos_++];
      ScriptRoot root{RootKey(t), {}};
      if (t.quoted || !root.root) return Fail(t.line, "unknown root key '" + t.text + "'");
      if (!Expect("{", "after " + t.text)) return false;
      if (!ParseKeys(&root.keys)) return false;
      roots->push_back(std::move(root));
    }
    return true;
  }

  const std::string& error() const { return error_; }

 private:
  static HKEY RootKey(const Token& t) {
    static const struct {
      const char* short_name;
      const char* long_name;
      HKEY key;
    } kRoots[] = {
        {"HKCR", "HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
        {"HKCU", "HKEY_CURRENT_USER", HKEY_CURRENT_USER},
        {"HKLM", "HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
        {"HKU", "HKEY_USERS", HKEY_USERS},
        {"HKCC", "HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
    };
    for (const auto& r : kRoots) {
      if (SameWord(t.text, r.short_name) || SameWord(t.text, r.long_name)) return r.key;
    }
    return nullptr;
  }

  bool Fail(int line, const std::string& what) {
    error_ = "registration script, line " + std::to_string(line) + ": " + what;
    return false;
  }

  int LastLine() const { return tokens_.empty() ? 1 : tokens_.back().line; }

  bool IsSymbol(size_t at, const char* symbol) const {
    return at < tokens_.size() && !tokens_[at].quoted && tokens_[at].text == symbol;
  }

  bool Expect(const char* symbol, const std::string& where) {
    if (IsSymbol(pos_, symbol)) {
      ++pos_;
      return true;
    }
    const int line = pos_ < tokens_.size() ? tokens_[pos_].line : LastLine();
    return Fail(line, std::string("expected '") + symbol + "' " + where);
  }

  // Replaces %NAME% from the variable table and %% by %.
  bool Substitute(const Token& t, OleString* out) {
    std::string text;
    for (size_t i = 0; i < t.text.size(); ++i) {
      if (t.text[i] != '%') {
        text.push_back(t.text[i]);
        continue;
      }
      size_t end = t.text.find('%', i + 1);
      if (end == std::string::npos) return Fail(t.line, "unterminated variable in '" + t.text + "'");
      const std::string name = t.text.substr(i + 1, end - i - 1);
      if (name.empty()) {
        text.push_back('%');
      } else {
        auto it = variables_.find(name);
        if (it == variables_.end()) return Fail(t.line, "unknown variable %" + name + "%");
        text += it->second;
      }
      i = end;
    }
    *out = ToUtf16(text.c_str(), text.size());
    return true;
  }

  // A name: a quoted text or a bare word that is no symbol.
  bool Name(const std::string& what, OleString* out) {
    if (pos_ >= tokens_.size()) return Fail(LastLine(), "expected " + what + " at the end");
    const Token& t = tokens_[pos_];
    if (!t.quoted && (t.text == "{" || t.text == "}" || t.text == "=")) {
      return Fail(t.line, "expected " + what + ", found '" + t.text + "'");
    }
    ++pos_;
    return Substitute(t, out);
  }

  // "= s 'text'"
  bool StringValue(OleString* out) {
    if (!Expect("=", "before a value")) return false;
    if (pos_ >= tokens_.size() || tokens_[pos_].quoted || !SameWord(tokens_[pos_].text, "s")) {
      const int line = pos_ < tokens_.size() ? tokens_[pos_].line : LastLine();
      return Fail(line, "expected the value type s (only string values are supported)");
    }
    ++pos_;
    if (pos_ >= tokens_.size() || !tokens_[pos_].quoted) {
      const int line = pos_ < tokens_.size() ? tokens_[pos_].line : LastLine();
      return Fail(line, "expected a quoted value after s");
    }
    return Substitute(tokens_[pos_++], out);
  }

  bool ParseKeys(std::vector<ScriptKey>* keys) {
    while (true) {
      if (pos_ >= tokens_.size()) return Fail(LastLine(), "missing '}'");
      if (IsSymbol(pos_, "}")) {
        ++pos_;
        return true;
      }
      const Token& t = tokens_[pos_];
      if (!t.quoted && SameWord(t.text, "val")) {
        ++pos_;
        if (depth_ == 0) return Fail(t.line, "a value directly under a root key");
        std::pair<OleString, OleString> value;
        if (!Name("a value name", &value.first) || !StringValue(&value.second)) return false;
        values_->push_back(std::move(value));
        continue;
      }
      ScriptKey key;
      if (!t.quoted) {
        if (SameWord(t.text, "ForceRemove")) key.flag = KeyFlag::kForceRemove;
        if (SameWord(t.text, "NoRemove")) key.flag = KeyFlag::kNoRemove;
        if (SameWord(t.text, "Delete")) key.flag = KeyFlag::kDelete;
        if (key.flag != KeyFlag::kNone) ++pos_;
      }
      if (!Name("a key name", &key.name)) return false;
      if (IsSymbol(pos_, "=")) {
        key.has_default = true;
        if (!StringValue(&key.default_value)) return false;
      }
      if (IsSymbol(pos_, "{")) {
        ++pos_;
        auto* outer_values = values_;
        values_ = &key.values;
        ++depth_;
        const bool ok = ParseKeys(&key.children);
        --depth_;
        values_ = outer_values;
        if (!ok) return false;
      }
      keys->push_back(std::move(key));
    }
  }

  bool Tokenize() {
    int line = 1;
    size_t i = 0;
    const std::string& s = script_;
    while (i < s.size()) {
      const char c = s[i];
      if (c == '\n') {
        ++line;
        ++i;
      } else if (c == ' ' || c == '\t' || c == '\r') {
        ++i;
      } else if (c == '\'') {
        Token t{std::string(), true, line};
        ++i;
        while (true) {
          if (i >= s.size()) return Fail(t.line, "unterminated quoted text");
          if (s[i] == '\'') {
            if (i + 1 < s.size() && s[i + 1] == '\'') {
              t.text.push_back('\'');
              i += 2;
              continue;
            }
            ++i;
            break;
          }
          if (s[i] == '\n') ++line;
          t.text.push_back(s[i++]);
        }
        tokens_.push_back(std::move(t));
      } else {
        Token t{std::string(), false, line};
        while (i < s.size() && s[i] != ' ' && s[i] != '\t' && s[i] != '\r' && s[i] != '\n') {
          t.text.push_back(s[i++]);
        }
        tokens_.push_back(std::move(t));
      }
    }
    return true;
  }

  const std::string& script_;
  const std::map<std::string, std::string>& variables_;
  std::vector<Token> tokens_;
  size_t pos_ = 0;
  int depth_ = 0;
  std::vector<std::pair<OleString, OleString>>* values_ = nullptr;
  std::string error_;
};

HRESULT FromWin32(LONG status) {
  return status == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

LONG SetString(HKEY key, const OleString* name, const OleString& text) {
  return RegSetValueExW(key, name ? name->c_str() : nullptr, 0, REG_SZ,
                        reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(OLECHAR)));
}

// Deletes a key with its tree; a missing key is no failure.
LONG DeleteTree(HKEY parent, const OleString& name) {
  const LONG status = RegDeleteTreeW(parent, name.c_str());
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

LONG Register(HKEY parent, const ScriptKey& key) {
  if (key.flag == KeyFlag::kDelete) return DeleteTree(parent, key.name);
  if (key.flag == KeyFlag::kForceRemove) {
    const LONG status = DeleteTree(parent, key.name);
    if (status != ERROR_SUCCESS) return status;
  }
  HKEY handle = nullptr;
  LONG status = RegCreateKeyExW(parent, key.name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                KEY_ALL_ACCESS, nullptr, &handle, nullptr);
  if (status != ERROR_SUCCESS) return status;
  if (key.has_default) status = SetString(handle, nullptr, key.default_value);
  for (size_t i = 0; status == ERROR_SUCCESS && i < key.values.size(); ++i) {
    status = SetString(handle, &key.values[i].first, key.values[i].second);
  }
  for (size_t i = 0; status == ERROR_SUCCESS && i < key.children.size(); ++i) {
    status = Register(handle, key.children[i]);
  }
  RegCloseKey(handle);
  return status;
}

bool HasSubKeys(HKEY key) {
  OLECHAR name[256];
  DWORD length = 256;
  const LONG status = RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr);
  return status == ERROR_SUCCESS || status == ERROR_MORE_DATA;
}

LONG Unregister(HKEY parent, const ScriptKey& key) {
  switch (key.flag) {
    case KeyFlag::kDelete:
      return ERROR_SUCCESS;
    case KeyFlag::kForceRemove:
      return DeleteTree(parent, key.name);
    default:
      break;
  }
  HKEY handle = nullptr;
  LONG status = RegOpenKeyExW(parent, key.name.c_str(), 0, KEY_ALL_ACCESS, &handle);
  if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (status != ERROR_SUCCESS) return status;
  for (size_t i = 0; status == ERROR_SUCCESS && i < key.children.size(); ++i) {
    status = Unregister(handle, key.children[i]);
  }
  bool empty = false;
  if (status == ERROR_SUCCESS && key.flag == KeyFlag::kNone) {
    for (const auto& value : key.values) {
      const LONG removed = RegDeleteValueW(handle, value.first.c_str());
      if (removed != ERROR_SUCCESS && removed != ERROR_FILE_NOT_FOUND) status = removed;
    }
    empty = !HasSubKeys(handle);
  }
  RegCloseKey(handle);
  if (status == ERROR_SUCCESS && empty) {
    status = RegDeleteKeyW(parent, key.name.c_str());
    if (status == ERROR_FILE_NOT_FOUND) status = ERROR_SUCCESS;
  }
  return status;
}

}  // namespace

HRESULT RunRegistrationScript(const std::string& script,
                              const std::map<std::string, std::string>& variables,
                              RegistrarMode mode) {
  try {
    std::vector<ScriptRoot> roots;
    Parser parser(script, variables);
    if (!parser.Parse(&roots)) {
      return ReportErrorUtf8(kScriptSyntaxError, IID_NULL, "movaLegacyRecording registrar",
                             parser.error().c_str());
    }
    for (const ScriptRoot& root : roots) {
      for (const ScriptKey& key : root.keys) {
        const LONG status =
            mode == RegistrarMode::kRegister ? Register(root.root, key) : Unregister(root.root, key);
        if (status != ERROR_SUCCESS) return FromWin32(status);
      }
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace mlr::server
