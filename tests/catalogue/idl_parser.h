// A reader for the IDL subset that server/LegacyRecording.idl is written in,
// so that the catalogue tests can hold the C++ declarations and the dispatch
// tables against the IDL text itself rather than against a second copy.
//
// Understood: // and /* */ comments; import "..."; forward declarations
// (interface X;); typedef enum with [helpstring] on constants; interfaces
// with attribute lists and members; the library block with importlib,
// coclasses and one module. Anything else is a parse error that names the
// line, so a construct added to the IDL that this reader does not know fails
// the tests instead of being skipped. What widl refuses when the Windows build
// compiles the type library (unterminated strings, a second library, malformed
// numbers) is not checked again here.
//
// Types are kept as written with blanks removed ("SAFEARRAY(IChannelInfo*)*").
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace idl {

struct ParseError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One attribute list: [name, name(args), ...]. Arguments are kept as raw text,
// quotes removed from a single string argument.
struct Attributes {
  std::vector<std::pair<std::string, std::string>> items;

  bool has(const std::string& name) const;
  // The argument of `name`; nullopt when the attribute is absent.
  std::optional<std::string> arg(const std::string& name) const;
};

struct Param {
  Attributes attrs;  // in, out, retval, optional, defaultvalue(...)
  std::string type;
  std::string name;
  bool in() const { return attrs.has("in"); }
  bool out() const { return attrs.has("out"); }
  bool retval() const { return attrs.has("retval"); }
  bool optional() const { return attrs.has("optional"); }
};

enum class Kind { Method, PropGet, PropPut };

struct Member {
  Attributes attrs;
  Kind kind = Kind::Method;
  std::optional<int32_t> dispid;  // from id(...); DISPID_NEWENUM is -4
  std::string return_type;
  std::string calling_convention;  // "_stdcall" for module functions, else empty
  std::string name;
  std::vector<Param> params;
};

struct EnumConst {
  std::string name;
  int32_t value = 0;
};

struct Enum {
  std::string name;
  std::vector<EnumConst> consts;
};

struct Interface {
  Attributes attrs;
  std::string name;
  std::string base;
  std::vector<Member> members;
};

struct CoclassInterface {
  std::string name;
  bool is_default = false;
};

struct Coclass {
  Attributes attrs;
  std::string name;
  std::vector<CoclassInterface> interfaces;
};

struct Module {
  Attributes attrs;
  std::string name;
  std::vector<Member> functions;
};

struct Library {
  Attributes attrs;
  std::string name;
  std::vector<Coclass> coclasses;
  std::vector<Module> modules;
};

struct File {
  std::vector<Enum> enums;
  std::vector<Interface> interfaces;  // in file order
  std::optional<Library> library;

  const Interface* find_interface(const std::string& name) const;
  // The members of `name` with those of its base interfaces (within this file)
  // first, i.e. in vtable order after the IDispatch slots.
  std::vector<const Member*> vtable_members(const std::string& name) const;
};

File parse(const std::string& text);
File parse_file(const std::string& path);

}  // namespace idl
