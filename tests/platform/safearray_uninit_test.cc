// The library-internal uninitialised SAFEARRAY: same shape as
// SafeArrayCreate, refused for element types that own what they hold.
#include "platform/safearray_uninit.h"
#include "platform/win.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(SafeArrayUninitialized, ShapedAsSafeArrayCreateAndRefusedForOwningTypes) {
  SAFEARRAYBOUND bounds[2] = {{3, 1}, {5, 1}};
  SAFEARRAY* array = mlr::SafeArrayCreateUninitialized(VT_I2, 2, bounds);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(SafeArrayGetDim(array), 2u);
  EXPECT_EQ(SafeArrayGetElemsize(array), 2u);
  VARTYPE vt = VT_EMPTY;
  EXPECT_EQ(SafeArrayGetVartype(array, &vt), S_OK);
  EXPECT_EQ(vt, VT_I2);
  LONG upper = 0;
  EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), S_OK);
  EXPECT_EQ(upper, 3);
  EXPECT_EQ(SafeArrayGetUBound(array, 2, &upper), S_OK);
  EXPECT_EQ(upper, 5);
  // Every element is writable and reads back where SafeArrayGetElement looks.
  void* data = nullptr;
  ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
  for (int i = 0; i < 15; ++i) static_cast<int16_t*>(data)[i] = static_cast<int16_t>(i);
  SafeArrayUnaccessData(array);
  LONG at[2] = {2, 4};
  int16_t value = -1;
  EXPECT_EQ(SafeArrayGetElement(array, at, &value), S_OK);
  EXPECT_EQ(value, 1 + 3 * 3);
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);

  SAFEARRAYBOUND empty = {0, 0};
  array = mlr::SafeArrayCreateUninitialized(VT_I2, 1, &empty);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);

  for (VARTYPE owning : {VARTYPE{VT_BSTR}, VARTYPE{VT_UNKNOWN}, VARTYPE{VT_DISPATCH}, VARTYPE{VT_VARIANT}})
    EXPECT_EQ(mlr::SafeArrayCreateUninitialized(owning, 1, bounds), nullptr) << owning;
  EXPECT_EQ(mlr::SafeArrayCreateUninitialized(VT_I2, 0, bounds), nullptr);
  EXPECT_EQ(mlr::SafeArrayCreateUninitialized(VT_I2, 1, nullptr), nullptr);
}

}  // namespace
