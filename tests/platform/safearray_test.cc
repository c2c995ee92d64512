// SAFEARRAY: layout, bounds, locks, element ownership, Redim and Copy, as
// Windows documents them.
#include "platform/win.h"
#include "tests/platform/test_objects.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(SafeArray, LocksRefuseDestroyAndRedim) {
  SAFEARRAY* psa = SafeArrayCreateVector(VT_R8, 0, 4);
  ASSERT_NE(psa, nullptr);
  void* data;
  ASSERT_EQ(SafeArrayAccessData(psa, &data), S_OK);
  ASSERT_EQ(SafeArrayLock(psa), S_OK);
  EXPECT_EQ(psa->cLocks, 2u);
  EXPECT_EQ(SafeArrayDestroy(psa), DISP_E_ARRAYISLOCKED);
  SAFEARRAYBOUND nb = {8, 0};
  EXPECT_EQ(SafeArrayRedim(psa, &nb), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(SafeArrayUnlock(psa), S_OK);
  EXPECT_EQ(SafeArrayUnaccessData(psa), S_OK);
  EXPECT_EQ(SafeArrayUnlock(psa), E_UNEXPECTED);  // never below zero
  EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
  EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
}

TEST(SafeArray, ElementsAreOwnedAndReleased) {
  CountedObject object;
  SAFEARRAY* objects = SafeArrayCreateVector(VT_DISPATCH, 0, 2);
  LONG i = 1;
  ASSERT_EQ(SafeArrayPutElement(objects, &i, static_cast<IDispatch*>(&object)), S_OK);
  EXPECT_EQ(object.Count(), 2u);
  IDispatch* got = nullptr;
  ASSERT_EQ(SafeArrayGetElement(objects, &i, &got), S_OK);
  EXPECT_EQ(got, &object);
  EXPECT_EQ(object.Count(), 3u);
  got->Release();
  SAFEARRAY* copy = nullptr;
  ASSERT_EQ(SafeArrayCopy(objects, &copy), S_OK);
  EXPECT_EQ(object.Count(), 3u);
  EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
  EXPECT_EQ(SafeArrayDestroy(objects), S_OK);
  EXPECT_EQ(object.Count(), 1u);

  // BSTR elements: PutElement copies the string; GetElement returns a copy.
  SAFEARRAY* strings = SafeArrayCreateVector(VT_BSTR, 5, 1);
  BSTR s = SysAllocString(OLESTR("element"));
  i = 5;
  ASSERT_EQ(SafeArrayPutElement(strings, &i, s), S_OK);
  SysFreeString(s);
  BSTR back = nullptr;
  ASSERT_EQ(SafeArrayGetElement(strings, &i, &back), S_OK);
  EXPECT_EQ(std::u16string(back), u"element");
  SysFreeString(back);
  VARTYPE vt;
  ASSERT_EQ(SafeArrayGetVartype(strings, &vt), S_OK);
  EXPECT_EQ(vt, VT_BSTR);

  // VARIANT elements hold objects too; destroying the array clears them.
  SAFEARRAY* variants = SafeArrayCreateVector(VT_VARIANT, 0, 3);
  VARIANT v = Object(VT_UNKNOWN, &object);
  i = 2;
  ASSERT_EQ(SafeArrayPutElement(variants, &i, &v), S_OK);
  EXPECT_EQ(object.Count(), 2u);
  // A VARIANT holding an array is cleared with the array.
  VARIANT holder = Array(VT_VARIANT, variants);
  EXPECT_EQ(VariantClear(&holder), S_OK);
  EXPECT_EQ(object.Count(), 1u);
  EXPECT_EQ(SafeArrayDestroy(strings), S_OK);
}

TEST(SafeArray, RedimShrinksKeepingDataAndGrowsWithZeros) {
  SAFEARRAYBOUND bounds[2] = {{2, 0}, {3, 0}};  // 2 x 3, rightmost dimension 3
  SAFEARRAY* psa = SafeArrayCreate(VT_I2, 2, bounds);
  SHORT* data;
  ASSERT_EQ(SafeArrayAccessData(psa, reinterpret_cast<void**>(&data)), S_OK);
  for (int k = 0; k < 6; ++k) data[k] = static_cast<SHORT>(k + 1);
  SafeArrayUnaccessData(psa);
  // The leftmost index varies fastest: (1, 2) is the sixth element.
  LONG at[2] = {1, 2}, hi;
  SHORT value = 0;
  ASSERT_EQ(SafeArrayGetElement(psa, at, &value), S_OK);
  EXPECT_EQ(value, 6);
  at[0] = 2;
  EXPECT_EQ(SafeArrayGetElement(psa, at, &value), DISP_E_BADINDEX);
  EXPECT_EQ(SafeArrayGetUBound(psa, 3, &hi), DISP_E_BADINDEX);

  SAFEARRAYBOUND smaller = {2, 0};
  ASSERT_EQ(SafeArrayRedim(psa, &smaller), S_OK);
  SafeArrayGetUBound(psa, 2, &hi);
  EXPECT_EQ(hi, 1);
  SAFEARRAYBOUND larger = {4, 0};
  ASSERT_EQ(SafeArrayRedim(psa, &larger), S_OK);
  ASSERT_EQ(SafeArrayAccessData(psa, reinterpret_cast<void**>(&data)), S_OK);
  const SHORT expect[8] = {1, 2, 3, 4, 0, 0, 0, 0};
  for (int k = 0; k < 8; ++k) EXPECT_EQ(data[k], expect[k]) << k;
  SafeArrayUnaccessData(psa);
  SafeArrayDestroy(psa);

  // Shrinking a BSTR vector frees the strings dropped (checked by LSan).
  SAFEARRAY* strings = SafeArrayCreateVector(VT_BSTR, 0, 3);
  for (LONG i = 0; i < 3; ++i) {
    BSTR s = SysAllocString(OLESTR("x"));
    SafeArrayPutElement(strings, &i, s);
    SysFreeString(s);
  }
  SAFEARRAYBOUND one = {1, 0};
  ASSERT_EQ(SafeArrayRedim(strings, &one), S_OK);
  SafeArrayDestroy(strings);
}

TEST(SafeArray, SizeOverflowIsRefused) {
  SAFEARRAYBOUND huge[3] = {{0x10000, 0}, {0x10000, 0}, {0x10000, 0}};
  EXPECT_EQ(SafeArrayCreate(VT_R8, 3, huge), nullptr);
  SAFEARRAYBOUND big[2] = {{0xFFFFFFFFu, 0}, {0xFFFFFFFFu, 0}};
  EXPECT_EQ(SafeArrayCreate(VT_VARIANT, 2, big), nullptr);
  EXPECT_EQ(SafeArrayCreate(VT_EMPTY, 1, huge), nullptr);
  EXPECT_EQ(SafeArrayCreate(VT_I4, 0, huge), nullptr);

  SAFEARRAY* psa = SafeArrayCreateVector(VT_R8, 0, 1);
  SAFEARRAYBOUND grow = {0xFFFFFFFFu, 0};
  EXPECT_EQ(SafeArrayRedim(psa, &grow), E_OUTOFMEMORY);
  SafeArrayDestroy(psa);

  // Index arithmetic with extreme lower bounds stays in range.
  SAFEARRAY* v = SafeArrayCreateVector(VT_I4, -2147483647 - 1, 2);
  LONG idx = 2147483647;
  LONG value = 0;
  EXPECT_EQ(SafeArrayGetElement(v, &idx, &value), DISP_E_BADINDEX);
  idx = -2147483647;
  EXPECT_EQ(SafeArrayGetElement(v, &idx, &value), S_OK);
  SafeArrayDestroy(v);
}

TEST(SafeArray, CopyDataNeedsTheSameShape) {
  SAFEARRAY* a = SafeArrayCreateVector(VT_I4, 0, 3);
  SAFEARRAY* b = SafeArrayCreateVector(VT_I4, 0, 3);
  SAFEARRAY* c = SafeArrayCreateVector(VT_I4, 0, 4);
  LONG i = 1, value = 9;
  SafeArrayPutElement(a, &i, &value);
  ASSERT_EQ(SafeArrayCopyData(a, b), S_OK);
  value = 0;
  SafeArrayGetElement(b, &i, &value);
  EXPECT_EQ(value, 9);
  EXPECT_EQ(SafeArrayCopyData(a, c), E_INVALIDARG);
  SafeArrayDestroy(a);
  SafeArrayDestroy(b);
  SafeArrayDestroy(c);
}

}  // namespace
