// Live-object accounting for the recording object model.
//
// Every object of the model (recordings, collections, items, normsets,
// enumerators) holds one `LiveObjectToken` as a member: the token's
// constructor counts the object in and its destructor counts it out. The
// count is process-wide and lets tests (and leak diagnostics) prove that
// releasing every reference frees a whole object tree. Each token also holds
// the module's lock count (platform/module_lock.h), so DllCanUnloadNow refuses
// while any object lives.
//
// Threading: the count is an atomic; any thread may create or destroy
// objects. Reading it while other threads create objects gives a snapshot.
#pragma once

#include <atomic>

namespace mlr::model {

// Number of model objects alive in the process right now.
long LiveObjectCount();

class LiveObjectToken {
 public:
  LiveObjectToken();
  LiveObjectToken(const LiveObjectToken&);
  LiveObjectToken& operator=(const LiveObjectToken&) = default;
  ~LiveObjectToken();
};

}  // namespace mlr::model
