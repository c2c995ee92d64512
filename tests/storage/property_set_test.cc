// Summary information through IPropertySetStorage/IPropertyStorage: values of
// every supported type survive a round trip through the file, VT_LPSTR text
// is stored in the set's code page, and damaged sets are refused cleanly.
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "storage/code_page.h"
#include "storage/property_set.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include <unistd.h>

namespace {

using mlr::ComPtr;
using namespace mlr::storage;

TEST(PropertySetCodec, StreamNamesOfIdentifiers) {
  EXPECT_EQ(PropertySetStreamName(kFmtidSummaryInformation), u"\005SummaryInformation");
  Guid g{};
  for (int i = 0; i < 16; ++i) g[i] = static_cast<uint8_t>(i * 17 + 3);
  std::u16string name = PropertySetStreamName(g);
  EXPECT_EQ(name.size(), 27u);
  Guid back{};
  ASSERT_TRUE(PropertySetIdFromName(name, &back));
  EXPECT_EQ(back, g);
  EXPECT_FALSE(PropertySetIdFromName(u"Data", &back));
}

TEST(PropertySetCodec, DamagedSetsAreRefused) {
  PropertySet set;
  set.fmtid = kFmtidSummaryInformation;
  PropValue comment;
  comment.vt = kVtLpstr;
  comment.text = "a comment";
  set.values[6] = comment;
  auto bytes = SerializePropertySet(set);
  PropertySet back;
  ASSERT_TRUE(ParsePropertySet(bytes.data(), bytes.size(), &back).ok());
  EXPECT_EQ(back.values[6].text, "a comment");
  auto cut = bytes;
  cut.resize(cut.size() - 6);
  EXPECT_EQ(ParsePropertySet(cut.data(), cut.size(), &back).code(), Code::kCorrupt);
  auto count = bytes;
  count[52] = 0xFF;  // the property count
  EXPECT_EQ(ParsePropertySet(count.data(), count.size(), &back).code(), Code::kCorrupt);
  auto length = bytes;
  length[bytes.size() - 16] = 0xF0;  // the string's byte count
  Status st = ParsePropertySet(length.data(), length.size(), &back);
  EXPECT_EQ(st.code(), Code::kCorrupt) << st.message();
}

PROPSPEC Pid(PROPID id) {
  PROPSPEC s;
  s.ulKind = PRSPEC_PROPID;
  s.propid = id;
  return s;
}

TEST(PropertySets, SummaryInformationRoundTrip) {
  const std::string path = (std::filesystem::temp_directory_path() / ("mlr_props_" + std::to_string(::getpid()))).string();
  const std::u16string wpath(path.begin(), path.end());
  const char* comment = "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC";
  {
    ComPtr<IStorage> root;
    ASSERT_EQ(StgCreateDocfile(wpath.c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, root.put()), S_OK);
    ComPtr<IPropertySetStorage> sets;
    ASSERT_EQ(StgCreatePropSetStg(root.get(), 0, sets.put()), S_OK);
    ComPtr<IPropertyStorage> props;
    ASSERT_EQ(sets->Create(FMTID_SummaryInformation, nullptr, PROPSETFLAG_ANSI, 0x1012, props.put()), S_OK);
    PROPSPEC specs[6] = {Pid(PIDSI_COMMENTS), Pid(PIDSI_APPNAME), Pid(PIDSI_TITLE), Pid(PIDSI_PAGECOUNT),
                         Pid(PIDSI_CREATE_DTM), Pid(PIDSI_DOC_SECURITY)};
    PROPVARIANT values[6];
    for (auto& v : values) PropVariantInit(&v);
    values[0].vt = VT_LPSTR;
    values[0].pszVal = const_cast<char*>(comment);
    values[1].vt = VT_LPSTR;
    values[1].pszVal = const_cast<char*>("Kalvern Recorder");
    values[2].vt = VT_LPWSTR;
    values[2].pwszVal = const_cast<LPWSTR>(u"Titel \u00e4");
    values[3].vt = VT_I4;
    values[3].lVal = -123456;
    values[4].vt = VT_FILETIME;
    values[4].filetime.dwLowDateTime = 0x89ABCDEF;
    values[4].filetime.dwHighDateTime = 0x01D00000;
    values[5].vt = VT_I2;
    values[5].iVal = -2;
    ASSERT_EQ(props->WriteMultiple(6, specs, values, PID_FIRST_USABLE), S_OK);
    PROPSPEC named;
    named.ulKind = PRSPEC_LPWSTR;
    named.lpwstr = const_cast<LPOLESTR>(u"Name");
    EXPECT_EQ(props->WriteMultiple(1, &named, values, PID_FIRST_USABLE), STG_E_INVALIDPARAMETER);
  }
  ComPtr<IStorage> root;
  ASSERT_EQ(StgOpenStorage(wpath.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0, root.put()), S_OK);
  ComPtr<IPropertySetStorage> sets;
  ASSERT_EQ(root->QueryInterface(IID_IPropertySetStorage, reinterpret_cast<void**>(sets.put())), S_OK);
  ComPtr<IPropertyStorage> props;
  ASSERT_EQ(sets->Open(FMTID_SummaryInformation, STGM_SHARE_EXCLUSIVE | STGM_READ, props.put()), S_OK);
  PROPSPEC specs[8] = {Pid(PIDSI_COMMENTS), Pid(PIDSI_APPNAME), Pid(PIDSI_TITLE), Pid(PIDSI_PAGECOUNT),
                       Pid(PIDSI_CREATE_DTM), Pid(PIDSI_DOC_SECURITY), Pid(PID_CODEPAGE), Pid(PIDSI_AUTHOR)};
  PROPVARIANT got[8];
  ASSERT_EQ(props->ReadMultiple(8, specs, got), S_OK);
  ASSERT_EQ(got[0].vt, VT_LPSTR);
  EXPECT_STREQ(got[0].pszVal, comment);
  EXPECT_STREQ(got[1].pszVal, "Kalvern Recorder");
  ASSERT_EQ(got[2].vt, VT_LPWSTR);
  EXPECT_EQ(std::u16string(got[2].pwszVal), u"Titel \u00e4");
  EXPECT_EQ(got[3].vt, VT_I4);
  EXPECT_EQ(got[3].lVal, -123456);
  EXPECT_EQ(got[4].vt, VT_FILETIME);
  EXPECT_EQ(got[4].filetime.dwLowDateTime, 0x89ABCDEFu);
  EXPECT_EQ(got[4].filetime.dwHighDateTime, 0x01D00000u);
  EXPECT_EQ(got[5].iVal, -2);
  EXPECT_EQ(got[6].vt, VT_I2);
  EXPECT_EQ(got[6].iVal, 1252);
  EXPECT_EQ(got[7].vt, VT_EMPTY);
  FreePropVariantArray(8, got);
  PROPVARIANT none;
  PROPSPEC missing = Pid(PIDSI_KEYWORDS);
  EXPECT_EQ(props->ReadMultiple(1, &missing, &none), S_FALSE);
  EXPECT_EQ(props->WriteMultiple(1, specs, got, PID_FIRST_USABLE), STG_E_ACCESSDENIED);
  EXPECT_EQ(sets->Open(FMTID_DocSummaryInformation, STGM_SHARE_EXCLUSIVE | STGM_READ, props.put()), STG_E_FILENOTFOUND);

  // The comment is stored in code page 1252: "\xFC\xDF" and 0x80 for the euro sign.
  ComPtr<IStream> raw;
  props = nullptr;
  ASSERT_EQ(root->OpenStream(u"\005SummaryInformation", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, raw.put()), S_OK);
  std::vector<char> bytes(4096);
  ULONG n = 0;
  ASSERT_EQ(raw->Read(bytes.data(), 4096, &n), S_OK);
  std::string all(bytes.data(), n);
  EXPECT_NE(all.find("Gr\xFC\xDF" "e \x80"), std::string::npos);
  // A character the code page lacks is stored as '?'.
  EXPECT_EQ(EncodeCodePage("\xE2\x82\xAC", 28591), std::vector<uint8_t>{'?'});
  std::filesystem::remove(path);
}

}  // namespace
