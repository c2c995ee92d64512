// Python handles on objects of the library, and the session that closes them.
//
// ComObject holds one reference to an object of the library (kept as its
// IDispatch: every object of the model answers it). Python owns the
// ComObject; when Python drops it, the reference is released, so objects
// die when Python no longer uses them.
//
// Session ties together every ComObject reached from one opened recording.
// Close() releases all of their references at once (the recording then goes,
// with its file, unless C++ code elsewhere still holds it) and marks the
// session closed: any later use of one of its objects raises ValueError
// ("the recording is closed"). Objects created outside a recording (the
// resampler, a save's progress) have no session.
//
// Ref is a by-reference argument for late-bound calls: its value is passed
// in and the member's [out] value is stored back into it.
//
// Threading: everything here needs the GIL; the session's registry is
// guarded by it.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <unordered_set>

#include "platform/com_ptr.h"
#include "platform/win.h"

namespace movalegacy {

class ComObject;

class Session {
 public:
  bool closed() const { return closed_; }
  void Close();
  void Add(ComObject* object) { objects_.insert(object); }
  void Remove(ComObject* object) { objects_.erase(object); }

 private:
  bool closed_ = false;
  std::unordered_set<ComObject*> objects_;
};

class ComObject {
 public:
  // Adds a reference to `object` (not null).
  ComObject(IDispatch* object, std::shared_ptr<Session> session);
  ~ComObject();
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  // The object; raises ValueError when its session is closed.
  IDispatch* get() const;
  // The object queried for I; raises TypeError ("... is not a <what>") when
  // it does not answer I.
  template <class I>
  mlr::ComPtr<I> As(const char* what) const {
    mlr::ComPtr<I> out;
    if (FAILED(get()->QueryInterface(mlr::IidOf<I>(), out.put_void())) || !out) {
      throw pybind11::type_error(std::string("the object is not a ") + what);
    }
    return out;
  }
  const std::shared_ptr<Session>& session() const { return session_; }
  // Drops the reference (Session::Close).
  void Release() { object_.reset(); }
  // The interface name the object answers (most derived first), or "".
  std::string InterfaceName() const;
  // Identity: the object's IUnknown address.
  uintptr_t Identity() const;

 private:
  mlr::ComPtr<IDispatch> object_;
  std::shared_ptr<Session> session_;
};

struct Ref {
  pybind11::object value = pybind11::none();
};

// A Python ComObject for an interface pointer (which is queried for
// IDispatch); None for null. Objects that answer no IDispatch raise
// TypeError.
pybind11::object Wrap(IUnknown* object, const std::shared_ptr<Session>& session);

void RegisterComObject(pybind11::module_& m);

}  // namespace movalegacy
