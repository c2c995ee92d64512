// The error raiser: statuses, texts and the calling thread's error object
// (that the object belongs to the raising thread is the platform's error
// info, tested there).
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "LegacyRecording.h"
#include "platform/win.h"
#include "server/error_raiser.h"
#include "tests/platform/test_objects.h"

namespace {

TEST(ErrorRaiser, EveryMessageGivesItsStatusAndText) {
  struct Case {
    uint32_t number;
    uint32_t status;
    const char16_t* text;
  } cases[] = {
      {10001, 0x80042711, u"Index out of range"},
      {10100, 0x80042774, u"Recording cannot be reviewed"},
      {10101, 0x80042775, u"Recording is read-only"},
      {10102, 0x80042776, u"Recording has been deleted"},
      {10103, 0x80042777, u"Specfied time out of range"},
      {10104, 0x80042778, u"Data not available"},
      {10200, 0x800427D8, u"Invalid Channelinfo specified"},
      {10201, 0x800427D9, u"Invalid normset index specified"},
      {10202, 0x800427DA, u"No horizontal normsets"},
      {10300, 0x8004283C, u"Bitnumber out of range"},
      {10301, 0x8004283D, u"Operation cannot be done on event channels"},
      {10302, 0x8004283E, u"No vertical normsets"},
      {10400, 0x800428A0, u"Timezone does not contain any samples"},
  };
  for (const Case& c : cases) {
    const HRESULT hr = mlr::RaiseError(c.number, IID_IChannelGroup);
    EXPECT_EQ(static_cast<uint32_t>(hr), c.status) << c.number;
    EXPECT_TRUE(FAILED(hr));
    const ThreadError error = TakeThreadError();
    ASSERT_TRUE(error.present) << c.number;
    EXPECT_TRUE(error.guid == IID_IChannelGroup) << c.number;
    EXPECT_EQ(error.source, u"Kalvern Technologies Recording Definition");
    EXPECT_EQ(error.description, c.text) << c.number;
  }
}

TEST(ErrorRaiser, UnknownNumbersStillFail) {
  for (uint32_t number : {10000u, 10002u, 10500u, 0u, 0xFFFFu}) {
    const HRESULT hr = mlr::RaiseError(number, IID_IChannelInfo);
    EXPECT_EQ(static_cast<uint32_t>(hr), 0x80040000u | number);
    EXPECT_NE(hr, 0);
    const ThreadError error = TakeThreadError();
    ASSERT_TRUE(error.present);
    EXPECT_TRUE(error.guid == IID_IChannelInfo);
    EXPECT_EQ(error.description, u"Unknown Error");
  }
}

}  // namespace
