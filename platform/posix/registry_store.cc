// The registry file: tree, text form, and transactions by lock and rename.
#if !defined(_WIN32)

#include "platform/posix/registry_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include "platform/posix/handles.h"

namespace mlr::posix::registry {
namespace {

constexpr char kHeader[] = "; movaLegacyRecording registry 1";
constexpr const char* kRootNames[] = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER",
                                      "HKEY_LOCAL_MACHINE", "HKEY_USERS",
                                      "HKEY_CURRENT_CONFIG"};

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

void AppendQuoted(std::string* out, const std::string& text) {
  out->push_back('"');
  for (char c : text) {
    switch (c) {
      case '\\': *out += "\\\\"; break;
      case '"': *out += "\\\""; break;
      case '\n': *out += "\\n"; break;
      case '\r': *out += "\\r"; break;
      default: out->push_back(c);
    }
  }
  out->push_back('"');
}

void SerializeKey(const Key& key, const std::string& path, std::string* out) {
  *out += '[';
  *out += path;
  *out += "]\n";
  for (const auto& [name, data] : key.values) {
    if (name.empty()) {
      *out += '@';
    } else {
      AppendQuoted(out, name);
    }
    *out += '=';
    AppendQuoted(out, data);
    *out += '\n';
  }
  for (const auto& child : key.children) SerializeKey(*child, path + '\\' + child->name, out);
}

// Reads a quoted text at text[*pos] (which must be '"'); advances past it.
bool ReadQuoted(const std::string& line, size_t* pos, std::string* out) {
  if (*pos >= line.size() || line[*pos] != '"') return false;
  out->clear();
  for (size_t i = *pos + 1; i < line.size(); ++i) {
    char c = line[i];
    if (c == '"') {
      *pos = i + 1;
      return true;
    }
    if (c == '\\') {
      if (++i >= line.size()) return false;
      switch (line[i]) {
        case '\\': out->push_back('\\'); break;
        case '"': out->push_back('"'); break;
        case 'n': out->push_back('\n'); break;
        case 'r': out->push_back('\r'); break;
        default: return false;
      }
    } else {
      out->push_back(c);
    }
  }
  return false;
}

// "[ROOT\a\b]": finds or creates the key; the parent must already exist
// (parents are written before their children).
Key* SectionKey(Tree* tree, const std::string& line) {
  if (line.size() < 3 || line.back() != ']') return nullptr;
  const std::string path = line.substr(1, line.size() - 2);
  size_t start = 0;
  Key* key = nullptr;
  while (true) {
    size_t end = path.find('\\', start);
    std::string part = path.substr(start, end == std::string::npos ? end : end - start);
    if (part.empty()) return nullptr;
    if (!key) {
      key = tree->Root(part);
      if (!key) return nullptr;
    } else {
      bool created = false;
      Key* child = key->FindOrAdd(part, &created);
      if (created && end != std::string::npos) return nullptr;  // parent missing
      key = child;
    }
    if (end == std::string::npos) return key;
    start = end + 1;
  }
}

bool ParseValue(const std::string& line, Key* key) {
  size_t pos = 0;
  std::string name;
  if (line[0] == '@') {
    pos = 1;
  } else if (!ReadQuoted(line, &pos, &name) || name.empty()) {
    return false;
  }
  if (pos >= line.size() || line[pos] != '=') return false;
  ++pos;
  std::string data;
  if (!ReadQuoted(line, &pos, &data) || pos != line.size()) return false;
  if (key->Value(name)) return false;  // a value twice
  key->SetValue(name, std::move(data));
  return true;
}

LONG ErrorFromErrnoValue(int err) {
  if (err == EACCES || err == EPERM || err == EROFS) return ERROR_ACCESS_DENIED;
  return static_cast<LONG>(ErrorFromErrno(err));
}

LONG ReadFileText(const std::string& path, std::string* text) {
  text->clear();
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT ? ERROR_FILE_NOT_FOUND : ErrorFromErrnoValue(errno);
  char buf[65536];
  while (true) {
    ssize_t n = read(fd, buf, sizeof buf);
    if (n < 0) {
      if (errno == EINTR) continue;
      const int err = errno;
      close(fd);
      return err == EISDIR ? ERROR_BADDB : ErrorFromErrnoValue(err);
    }
    if (n == 0) break;
    text->append(buf, static_cast<size_t>(n));
  }
  close(fd);
  return ERROR_SUCCESS;
}

LONG LoadFrom(const std::string& path, Tree* tree) {
  std::string text;
  LONG status = ReadFileText(path, &text);
  if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;  // an empty registry
  if (status != ERROR_SUCCESS) return status;
  return Parse(text, tree) ? ERROR_SUCCESS : ERROR_BADDB;
}

// Creates the directories above `path` (0700 for new ones).
void MakeParents(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0700);
  }
}

LONG WriteAll(int fd, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return ErrorFromErrnoValue(errno);
    }
    done += static_cast<size_t>(n);
  }
  return fsync(fd) == 0 ? ERROR_SUCCESS : ErrorFromErrnoValue(errno);
}

// Writes `text` beside `path` and renames it over `path`.
LONG Replace(const std::string& path, const std::string& text) {
  static std::atomic<unsigned> counter{0};
  const std::string temp = path + ".new-" + std::to_string(getpid()) + "-" +
                           std::to_string(counter.fetch_add(1));
  int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return ErrorFromErrnoValue(errno);
  LONG status = WriteAll(fd, text);
  if (close(fd) != 0 && status == ERROR_SUCCESS) status = ErrorFromErrnoValue(errno);
  if (status == ERROR_SUCCESS && rename(temp.c_str(), path.c_str()) != 0) {
    status = ErrorFromErrnoValue(errno);
  }
  if (status != ERROR_SUCCESS) unlink(temp.c_str());
  return status;
}

class FileLock {
 public:
  explicit FileLock(const std::string& path) {
    fd_ = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0) {
      status_ = ErrorFromErrnoValue(errno);
      return;
    }
    while (flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) {
        status_ = ErrorFromErrnoValue(errno);
        return;
      }
    }
  }
  ~FileLock() {
    if (fd_ >= 0) close(fd_);  // closing releases the lock
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  LONG status() const { return status_; }

 private:
  int fd_ = -1;
  LONG status_ = ERROR_SUCCESS;
};

}  // namespace

bool SameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

Key* Key::Find(const std::string& child) const {
  for (const auto& c : children) {
    if (SameName(c->name, child)) return c.get();
  }
  return nullptr;
}

Key* Key::FindOrAdd(const std::string& child, bool* created) {
  *created = false;
  if (Key* found = Find(child)) return found;
  auto key = std::make_unique<Key>();
  key->name = child;
  children.push_back(std::move(key));
  *created = true;
  return children.back().get();
}

bool Key::Remove(const std::string& child) {
  for (auto it = children.begin(); it != children.end(); ++it) {
    if (SameName((*it)->name, child)) {
      children.erase(it);
      return true;
    }
  }
  return false;
}

const std::string* Key::Value(const std::string& value_name) const {
  for (const auto& [name, data] : values) {
    if (SameName(name, value_name)) return &data;
  }
  return nullptr;
}

void Key::SetValue(const std::string& value_name, std::string data) {
  for (auto& [name, old] : values) {
    if (SameName(name, value_name)) {
      old = std::move(data);
      return;
    }
  }
  values.emplace_back(value_name, std::move(data));
}

bool Key::RemoveValue(const std::string& value_name) {
  for (auto it = values.begin(); it != values.end(); ++it) {
    if (SameName(it->first, value_name)) {
      values.erase(it);
      return true;
    }
  }
  return false;
}

Tree::Tree() {
  for (const char* name : kRootNames) {
    roots.push_back(std::make_unique<Key>());
    roots.back()->name = name;
  }
}

Key* Tree::Root(const std::string& name) const {
  for (const auto& root : roots) {
    if (SameName(root->name, name)) return root.get();
  }
  return nullptr;
}

std::string Serialize(const Tree& tree) {
  std::string out = kHeader;
  out += '\n';
  for (const auto& root : tree.roots) {
    if (root->children.empty() && root->values.empty()) continue;
    SerializeKey(*root, root->name, &out);
  }
  return out;
}

bool Parse(const std::string& text, Tree* tree) {
  *tree = Tree();
  size_t start = 0;
  bool first = true;
  Key* current = nullptr;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    start = end + 1;
    if (first) {
      if (line != kHeader) return false;
      first = false;
      continue;
    }
    if (line.empty()) continue;
    if (line[0] == '[') {
      current = SectionKey(tree, line);
      if (!current) return false;
    } else if (!current || !ParseValue(line, current)) {
      return false;
    }
  }
  return !first;
}

std::string RegistryPath() {
  const char* env = std::getenv("MLR_REGISTRY");
  if (env && env[0]) return env;
  const char* config = std::getenv("XDG_CONFIG_HOME");
  std::string base;
  if (config && config[0] == '/') {
    base = config;
  } else {
    const char* home = std::getenv("HOME");
    if (!home || !home[0]) return std::string();
    base = std::string(home) + "/.config";
  }
  return base + "/movaLegacyRecording/registry";
}

LONG Load(Tree* tree) {
  try {
    *tree = Tree();
    const std::string path = RegistryPath();
    if (path.empty()) return ERROR_SUCCESS;
    return LoadFrom(path, tree);
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

LONG TransactImpl(ChangeFn fn, void* context) {
  try {
    const std::string path = RegistryPath();
    if (path.empty()) return ERROR_ACCESS_DENIED;
    MakeParents(path);
    FileLock lock(path);
    if (lock.status() != ERROR_SUCCESS) return lock.status();
    Tree tree;
    LONG status = LoadFrom(path, &tree);
    if (status != ERROR_SUCCESS) return status;
    bool modified = false;
    status = fn(context, &tree, &modified);
    if (status != ERROR_SUCCESS || !modified) return status;
    return Replace(path, Serialize(tree));
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

}  // namespace mlr::posix::registry

#endif  // !_WIN32
