// What script engines need from the loader's IDispatch, on Linux too: a
// left-out trailing [out] comes back as the result (JScript), a ByRef
// VARIANT receives it (VBScript), a failure carries a sentence naming the
// missing file, and safe arrays go in and come out of a group's GetMuxData.
#include <string>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/strings.h"
#include "server/module.h"
#include "testing/krf_writer.h"
#include "tests/platform/registry_fixture.h"

namespace {

using mlr::ComPtr;

class ScriptDispatch : public PrivateRegistry {
 protected:
  void SetUp() override {
    PrivateRegistry::SetUp();
    file_ = dir_.Path("sample.krf");
    ASSERT_EQ(mlr::testing::WriteRecordingFile(file_, mlr::testing::SampleRecording()), S_OK);
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void()), S_OK);
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, loader_.put_void()), S_OK);
    OLECHAR name[] = u"OpenRecording";
    LPOLESTR names[] = {name};
    ASSERT_EQ(loader_->GetIDsOfNames(IID_NULL, names, 1, 0, &open_), S_OK);
  }
  HRESULT Open(const std::string& path, VARIANT* byref, VARIANT* result, EXCEPINFO* excep) {
    VARIANT args[2];
    const mlr::OleString wide = mlr::ToUtf16(path.c_str());
    args[1].vt = VT_BSTR;
    args[1].bstrVal = SysAllocString(wide.c_str());
    if (byref) {
      args[0].vt = VT_BYREF | VT_VARIANT;
      args[0].pvarVal = byref;
    }
    DISPPARAMS params = {byref ? args : args + 1, nullptr, byref ? 2u : 1u, 0};
    const HRESULT hr = loader_->Invoke(open_, IID_NULL, 0, DISPATCH_METHOD, &params, result,
                                       excep, nullptr);
    SysFreeString(args[1].bstrVal);
    return hr;
  }

  std::string file_;
  ComPtr<IDispatch> loader_;
  DISPID open_ = 0;
};

TEST_F(ScriptDispatch, TrailingOutComesBackAsTheResultOrThroughAByRefVariant) {
  mlr::Variant result;
  ASSERT_EQ(Open(file_, nullptr, result.get(), nullptr), S_OK);
  ASSERT_EQ(result->vt, VT_DISPATCH);
  ComPtr<IRecording> recording;
  EXPECT_EQ(result->pdispVal->QueryInterface(IID_IRecording, recording.put_void()), S_OK);

  // The file is open until the recording goes; then VBScript's way.
  recording = nullptr;
  result = mlr::Variant();
  mlr::Variant byref, nothing;
  ASSERT_EQ(Open(file_, byref.get(), nothing.get(), nullptr), S_OK);
  EXPECT_EQ(byref->vt, VT_DISPATCH);
  EXPECT_EQ(nothing->vt, VT_EMPTY);

  // A missing file: the exception's sentence names it.
  const std::string missing = dir_.Path("missing.krf");
  EXCEPINFO excep = {};
  EXPECT_EQ(Open(missing, nullptr, nothing.get(), &excep), DISP_E_EXCEPTION);
  EXPECT_EQ(excep.scode, STG_E_FILENOTFOUND);
  EXPECT_EQ(mlr::ToUtf8(excep.bstrDescription), "The file was not found: " + missing);
  SysFreeString(excep.bstrSource);
  SysFreeString(excep.bstrDescription);
  SysFreeString(excep.bstrHelpFile);
}

TEST_F(ScriptDispatch, ChannelListAsAnArrayOfVariants) {
  mlr::Variant result;
  ASSERT_EQ(Open(file_, nullptr, result.get(), nullptr), S_OK);
  ComPtr<IRecording> recording;
  ASSERT_EQ(result->pdispVal->QueryInterface(IID_IRecording, recording.put_void()), S_OK);
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> group;
  ComPtr<IChannelInfos> infos;
  ComPtr<IChannelInfo> info;
  ASSERT_EQ(recording->get_ChannelGroups(groups.put()), S_OK);
  ASSERT_EQ(groups->get_Item(1, group.put()), S_OK);
  ASSERT_EQ(group->get_ChannelInfos(infos.put()), S_OK);
  ASSERT_EQ(infos->get_Item(1, info.put()), S_OK);

  // VBScript: group.GetMuxData Array(info), 1, 1, 3, 1, data
  SAFEARRAY* list = SafeArrayCreateVector(VT_VARIANT, 0, 1);
  VARIANT element;
  element.vt = VT_DISPATCH;
  element.pdispVal = info.get();
  LONG index = 0;
  ASSERT_EQ(SafeArrayPutElement(list, &index, &element), S_OK);
  mlr::Variant channels, data;
  channels->vt = VT_ARRAY | VT_VARIANT;
  channels->parray = list;
  VARIANT args[6];
  args[5].vt = VT_BYREF | VT_VARIANT;
  args[5].pvarVal = channels.get();
  for (int i = 1; i <= 4; ++i) {
    args[5 - i].vt = VT_I4;
    args[5 - i].lVal = 1;
  }
  args[2].lVal = 3;  // ItemCount
  args[0].vt = VT_BYREF | VT_VARIANT;
  args[0].pvarVal = data.get();
  DISPPARAMS params = {args, nullptr, 6, 0};
  ASSERT_EQ(group->Invoke(8, IID_NULL, 0, DISPATCH_METHOD, &params, nullptr, nullptr, nullptr),
            S_OK);
  ASSERT_EQ(data->vt, VT_ARRAY | VT_I2);  // typed results stay typed
  // Three frames of the one channel: the frame dimension is the last one.
  LONG upper = -1;
  EXPECT_EQ(SafeArrayGetUBound(data->parray, SafeArrayGetDim(data->parray), &upper), S_OK);
  EXPECT_EQ(upper, 2);

  // A typed caller's array of shorts: the one it held is freed and replaced.
  SAFEARRAY* typed = SafeArrayCreateVector(VT_I2, 0, 1);
  args[0].vt = VT_BYREF | VT_ARRAY | VT_I2;
  args[0].pparray = &typed;
  ASSERT_EQ(group->Invoke(8, IID_NULL, 0, DISPATCH_METHOD, &params, nullptr, nullptr, nullptr),
            S_OK);
  EXPECT_EQ(SafeArrayGetUBound(typed, SafeArrayGetDim(typed), &upper), S_OK);
  EXPECT_EQ(upper, 2);
  SafeArrayDestroy(typed);
  typed = nullptr;

  // FirstSample 0 is refused: an exception with the status's sentence, and no array.
  args[3].lVal = 0;
  EXCEPINFO excep = {};
  EXPECT_EQ(group->Invoke(8, IID_NULL, 0, DISPATCH_METHOD, &params, nullptr, &excep, nullptr),
            DISP_E_EXCEPTION);
  EXPECT_EQ(excep.scode, E_INVALIDARG);
  EXPECT_EQ(mlr::ToUtf8(excep.bstrDescription), "An argument is not valid.");
  EXPECT_EQ(typed, nullptr);
  SysFreeString(excep.bstrSource);
  SysFreeString(excep.bstrDescription);
  SysFreeString(excep.bstrHelpFile);
}

}  // namespace
