// Wraps the body of an interface member so that no exception leaves it:
// std::bad_alloc becomes E_OUTOFMEMORY, anything else E_UNEXPECTED.
//
//   MLR_GUARD_BEGIN
//   ... body that returns an HRESULT ...
//   MLR_GUARD_END
#pragma once

#include "platform/win.h"

#include <new>

#define MLR_GUARD_BEGIN try {
#define MLR_GUARD_END             \
  }                               \
  catch (const std::bad_alloc&) { \
    return E_OUTOFMEMORY;         \
  }                               \
  catch (...) {                   \
    return E_UNEXPECTED;          \
  }
