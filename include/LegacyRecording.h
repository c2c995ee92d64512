// LegacyRecording.h: the public C++ declaration of the LegacyRecording 1.0
// type library (server/LegacyRecording.idl), with the names a MIDL compiler
// gives: IID_<interface>, CLSID_<class>, LIBID_LegacyRecording, the kal...
// enumerations, and each interface as an abstract class whose virtual members
// follow the IDL member order after the seven IUnknown/IDispatch slots, base
// interface first. A property getter X is get_X(T* pVal), a setter
// put_X(T newVal), a method keeps its name; the automation long is LONG
// (32-bit), SAFEARRAY(T)* is SAFEARRAY**.
//
// The exported functions of the module KalvernRecordingAPI are declared at the
// end with C linkage; the library exports them under these names.
//
// Conventions that hold for every member and function:
// - Every member returns an HRESULT; no member throws. A null out pointer
//   gives E_POINTER.
// - Strings (BSTR), safe arrays and interface pointers returned through out
//   parameters belong to the caller, who frees or releases them. An [in]
//   argument stays the caller's.
// - Objects are free-threaded; each documents its own locking.
// - An object of the recording tree keeps the whole tree alive while the
//   client holds any reference to any part of it.
//
// GUIDs follow one fixed pattern, 4B5246KK-NNNN-4D4C-9A52-6C6567616379, with
// KK the kind (00 library, 01 interface, 02 class) and NNNN the number in IDL
// order (see server/LegacyRecording.idl); they never change.
#pragma once

#include "platform/export.h"
#include "platform/iid_traits.h"
#include "platform/win.h"

struct IRecording;
struct IChannelGroups;
struct IChannelGroup;
struct IChannelInfos;
struct IChannelInfo;
struct IHNorms;
struct IHNorm;
struct IVNorms;
struct IVNorm;
struct ITimemark;
struct ITimemarks;
struct IVoiceMark;
struct IVoiceMarks;
struct ITriggerInfo;
struct ITriggerInfos;
struct IMarker;
struct IMarkers;
struct IBookmark;
struct IBookmarks;
struct IPhysicalChannel;
struct IPhysicalChannels;
struct IDisplayPage;
struct IDisplayPages;
struct IKrfLoader;
struct ISaveRecordingProgress;
struct IRecordingProgress;
struct IChannelResampler;
struct IRecordings;

enum kalRecordingResamplerFlags : LONG {
  RRF_None = 0,
};

enum kalSaveRecordingFlags : LONG {
  kalSRF_SkipReducedStream = 1,
  kalSRF_SkipAbsoluteTimeAlign = 2,
  kalSRF_TriggeredSegmentOnly = 4,
  kalSRF_UseKSS = 4096,
};

enum kalSaveRecordingStatus : LONG {
  kalSRS_Initializing = 1,
  kalSRS_SavingInternals = 2,
  kalSRS_SavingData = 3,
  kalSRS_SavingCollections = 4,
  kalSRS_Closing = 5,
  kalSRS_AllocatingDiskSpace = 6,
  kalSRS_Aborted = 0x80000,
  kalSRS_Aborting = 0x40000,
  kalSRS_ErrorOccurred = 0x20000,
  kalSRS_Ready = 0x10000,
};

enum kalRecordingProgressStatus : LONG {
  kalRPS_Initializing = 1,
  kalSRS_ProcessingInternals = 2,
  kalRPS_ProcessingData = 3,
  kalRPS_ProcessingCollections = 4,
  kalRPS_Finalizing = 5,
  kalRPS_Aborted = 0x80000,
  kalRPS_Aborting = 0x40000,
  kalRPS_ErrorOccurred = 0x20000,
  kalRPS_Ready = 0x10000,
};

enum kalSystemEvent : LONG {
  kalSysEventTrigger = 1,
  kalSysEventHighRate = 2,
  kalSysEventMarker = 3,
  kalSysEventAlarm = 4,
};

enum kalRecordingCollection : LONG {
  kalRecColMarkers = 2,
  kalRecColBookmarks = 3,
  kalRecColVoicemarks = 4,
  kalRecColTriggers = 5,
  kalRecColPhysicalChannelConfig = -2147483647,  // 0x80000001
  kalRecColDisplayPages = -2147483646,  // 0x80000002
};

enum kalTriggerSource : LONG {
  kalTriggerSrcUnknown = 0,
  kalTriggerSrcExternal = 1,
  kalTriggerSrcManual = 2,
  kalTriggerSrcChannel = 3,
};

// The type library.
inline constexpr GUID LIBID_LegacyRecording =
    {0x4B524600, 0x0000, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};

// Interfaces, numbered in IDL order.
inline constexpr GUID IID_IRecording =
    {0x4B524601, 0x0001, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IChannelGroups =
    {0x4B524601, 0x0002, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IChannelGroup =
    {0x4B524601, 0x0003, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IChannelInfos =
    {0x4B524601, 0x0004, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IChannelInfo =
    {0x4B524601, 0x0005, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IHNorms =
    {0x4B524601, 0x0006, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IHNorm =
    {0x4B524601, 0x0007, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IVNorms =
    {0x4B524601, 0x0008, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IVNorm =
    {0x4B524601, 0x0009, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_ITimemark =
    {0x4B524601, 0x000A, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_ITimemarks =
    {0x4B524601, 0x000B, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IVoiceMark =
    {0x4B524601, 0x000C, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IVoiceMarks =
    {0x4B524601, 0x000D, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_ITriggerInfo =
    {0x4B524601, 0x000E, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_ITriggerInfos =
    {0x4B524601, 0x000F, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IMarker =
    {0x4B524601, 0x0010, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IMarkers =
    {0x4B524601, 0x0011, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IBookmark =
    {0x4B524601, 0x0012, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IBookmarks =
    {0x4B524601, 0x0013, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IPhysicalChannel =
    {0x4B524601, 0x0014, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IPhysicalChannels =
    {0x4B524601, 0x0015, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IDisplayPage =
    {0x4B524601, 0x0016, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IDisplayPages =
    {0x4B524601, 0x0017, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IKrfLoader =
    {0x4B524601, 0x0018, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_ISaveRecordingProgress =
    {0x4B524601, 0x0019, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IRecordingProgress =
    {0x4B524601, 0x001A, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IChannelResampler =
    {0x4B524601, 0x001B, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID IID_IRecordings =
    {0x4B524601, 0x001C, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};

// Classes, numbered in IDL order. Only KrfLoader and ChannelResampler are
// creatable; the library makes the others itself.
inline constexpr GUID CLSID_Recordings =
    {0x4B524602, 0x0001, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_Recording =
    {0x4B524602, 0x0002, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_ChannelGroups =
    {0x4B524602, 0x0003, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_ChannelGroup =
    {0x4B524602, 0x0004, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_ChannelInfos =
    {0x4B524602, 0x0005, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_ChannelInfo =
    {0x4B524602, 0x0006, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_HNorms =
    {0x4B524602, 0x0007, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_VNorms =
    {0x4B524602, 0x0008, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_HNorm =
    {0x4B524602, 0x0009, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_VNorm =
    {0x4B524602, 0x000A, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_Bookmark =
    {0x4B524602, 0x000B, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_Bookmarks =
    {0x4B524602, 0x000C, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_PhysicalChannel =
    {0x4B524602, 0x000D, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_PhysicalChannels =
    {0x4B524602, 0x000E, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_Voicemark =
    {0x4B524602, 0x000F, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_VoiceMarks =
    {0x4B524602, 0x0010, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_TriggerInfo =
    {0x4B524602, 0x0011, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_TriggerInfos =
    {0x4B524602, 0x0012, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_Marker =
    {0x4B524602, 0x0013, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_Markers =
    {0x4B524602, 0x0014, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_SaveRecordingProgress =
    {0x4B524602, 0x0015, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_KrfLoader =
    {0x4B524602, 0x0016, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_ChannelResampler =
    {0x4B524602, 0x0017, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_DisplayPages =
    {0x4B524602, 0x0018, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr GUID CLSID_DisplayPage =
    {0x4B524602, 0x0019, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};

// IRecording Interface
struct IRecording : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Title(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Title(BSTR newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IDispatch** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Location(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Extension(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelGroups(IChannelGroups** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_WriteProtect(VARIANT_BOOL* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_WriteProtect(VARIANT_BOOL newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_TotalSize(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_XUnits(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_UTCYear(short* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_UTCYear(short newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_UTCYearDay(short* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_UTCYearDay(short newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_UTCTimeOfDay(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_UTCTimeOfDay(double newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Acquiring(VARIANT_BOOL* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_CanBeReviewed(VARIANT_BOOL* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Duration(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_TimePerDivisionHint(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_UTCDate(DATE* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_LocalDate(DATE* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Comment(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Comment(BSTR newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Collection(
      kalRecordingCollection rcType,
      IUnknown** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Remove() = 0;

 protected:
  ~IRecording() = default;
};
MLR_DECLARE_IID(IRecording, IID_IRecording)

// IChannelGroups Interface
struct IChannelGroups : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IChannelGroup** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~IChannelGroups() = default;
};
MLR_DECLARE_IID(IChannelGroups, IID_IChannelGroups)

// IChannelGroup Interface
struct IChannelGroup : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IChannelGroups** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_HNorms(IHNorms** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelInfos(IChannelInfos** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetBestReductionFactor(
      LONG HNormIndex,
      LONG* ReductionFactor) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Duration(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetMuxData(
      SAFEARRAY** ChInfo,
      LONG HNormIndex,
      LONG FirstSample,
      LONG ItemCount,
      LONG Reduction,
      SAFEARRAY** Result) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetScaledMuxData(
      SAFEARRAY** ChInfo,
      LONG HNormIndex,
      LONG FirstSample,
      LONG ItemCount,
      LONG Reduction,
      SAFEARRAY** Result) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetResampledMuxData(
      SAFEARRAY** ChInfo,
      LONG HNormIndex,
      LONG FirstSample,
      LONG ItemCount,
      LONG Resample,
      SAFEARRAY** Result) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetDisplayData(
      IChannelInfo* ChInfo,
      double StartTime,
      double EndTime,
      LONG Count,
      SAFEARRAY** Result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Recording(IRecording** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) = 0;

 protected:
  ~IChannelGroup() = default;
};
MLR_DECLARE_IID(IChannelGroup, IID_IChannelGroup)

// IChannelInfos Interface
struct IChannelInfos : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IChannelInfo** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IChannelGroup** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~IChannelInfos() = default;
};
MLR_DECLARE_IID(IChannelInfos, IID_IChannelInfos)

// IChannelInfo Interface
struct IChannelInfo : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Name(VARIANT BitNumber, BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IChannelInfos** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EventChannel(VARIANT_BOOL* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SystemEventMask(kalSystemEvent SysEvent, short* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_VNorms(IVNorms** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_YUnits(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSampleAtTime(double Time, short* Value) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetValueAtTime(double Time, double* Value) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelGroup(IChannelGroup** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) = 0;

 protected:
  ~IChannelInfo() = default;
};
MLR_DECLARE_IID(IChannelInfo, IID_IChannelInfo)

// IHNorms Interface
struct IHNorms : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IHNorm** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IChannelGroup** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetFirstEndingAfter(double dTime, IHNorm** HNorm) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetLastStartingBefore(double dTime, IHNorm** HNorm) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~IHNorms() = default;
};
MLR_DECLARE_IID(IHNorms, IID_IHNorms)

// IHNorm Interface
struct IHNorm : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IHNorms** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Length(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_XStep(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Duration(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) = 0;

 protected:
  ~IHNorm() = default;
};
MLR_DECLARE_IID(IHNorm, IID_IHNorm)

// IVNorms Interface
struct IVNorms : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IVNorm** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IChannelInfo** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetFromTime(double dTime, IVNorm** VNorm) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~IVNorms() = default;
};
MLR_DECLARE_IID(IVNorms, IID_IVNorms)

// IVNorm Interface
struct IVNorm : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IVNorms** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Y0(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_YStep(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) = 0;

 protected:
  ~IVNorm() = default;
};
MLR_DECLARE_IID(IVNorm, IID_IVNorm)

// ITimemark Interface
struct ITimemark : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Time(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) = 0;

 protected:
  ~ITimemark() = default;
};
MLR_DECLARE_IID(ITimemark, IID_ITimemark)

// ITimemarks Interface
struct ITimemarks : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IUnknown** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetIndicesFromTime(
      double StartTime,
      double EndTime,
      LONG* First,
      LONG* Last) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~ITimemarks() = default;
};
MLR_DECLARE_IID(ITimemarks, IID_ITimemarks)

// IVoiceMark Interface
struct IVoiceMark : public ITimemark {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IVoiceMarks** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Length(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Channels(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SamplesPerSec(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_BitsPerSample(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Remove() = 0;
  virtual HRESULT STDMETHODCALLTYPE Append(VARIANT Data) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetData(LONG FirstSample, LONG Count, VARIANT* Result) = 0;

 protected:
  ~IVoiceMark() = default;
};
MLR_DECLARE_IID(IVoiceMark, IID_IVoiceMark)

// IVoiceMarks Interface
struct IVoiceMarks : public ITimemarks {
 public:
  virtual HRESULT STDMETHODCALLTYPE Add(
      double dTime,
      LONG SamplesPerSecond,
      LONG BitsPerChannel,
      LONG Channels,
      IVoiceMark** Voicemark) = 0;

 protected:
  ~IVoiceMarks() = default;
};
MLR_DECLARE_IID(IVoiceMarks, IID_IVoiceMarks)

// ITriggerInfo Interface
struct ITriggerInfo : public ITimemark {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Parent(ITriggerInfos** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Source(kalTriggerSource* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelInfo(IChannelInfo** pVal) = 0;

 protected:
  ~ITriggerInfo() = default;
};
MLR_DECLARE_IID(ITriggerInfo, IID_ITriggerInfo)

// ITriggerInfos interface
struct ITriggerInfos : public ITimemarks {
 protected:
  ~ITriggerInfos() = default;
};
MLR_DECLARE_IID(ITriggerInfos, IID_ITriggerInfos)

// IMarker Interface
struct IMarker : public ITimemark {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IMarkers** pVal) = 0;

 protected:
  ~IMarker() = default;
};
MLR_DECLARE_IID(IMarker, IID_IMarker)

// IMarkes Interface
struct IMarkers : public ITimemarks {
 public:
  virtual HRESULT STDMETHODCALLTYPE Add(double dTime) = 0;

 protected:
  ~IMarkers() = default;
};
MLR_DECLARE_IID(IMarkers, IID_IMarkers)

// IBookmark Interface
struct IBookmark : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IBookmarks** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Time(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Remove() = 0;

 protected:
  ~IBookmark() = default;
};
MLR_DECLARE_IID(IBookmark, IID_IBookmark)

// IBookmarks Interface
struct IBookmarks : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IBookmark** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Add(double dTime, BSTR strBookmark, IBookmark** Bookmark) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~IBookmarks() = default;
};
MLR_DECLARE_IID(IBookmarks, IID_IBookmarks)

// IPhysicalChannel Interface
struct IPhysicalChannel : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Channel(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Board(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Name(VARIANT BitNumber, BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IPhysicalChannels** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_StorageEnabled(VARIANT_BOOL* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelInfo(IChannelInfo** pVal) = 0;

 protected:
  ~IPhysicalChannel() = default;
};
MLR_DECLARE_IID(IPhysicalChannel, IID_IPhysicalChannel)

// IPhysicalChannels Interface
struct IPhysicalChannels : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IPhysicalChannel** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE FindChannelInfo(
      LONG Board,
      LONG Channel,
      IChannelInfo** ChannelInfo) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~IPhysicalChannels() = default;
};
MLR_DECLARE_IID(IPhysicalChannels, IID_IPhysicalChannels)

// IDisplayPage Interface
struct IDisplayPage : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_PageSetup(IUnknown** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_TraceAssignment(IUnknown** pVal) = 0;

 protected:
  ~IDisplayPage() = default;
};
MLR_DECLARE_IID(IDisplayPage, IID_IDisplayPage)

// IDisplayPages Interface
struct IDisplayPages : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IDisplayPage** pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;

 protected:
  ~IDisplayPages() = default;
};
MLR_DECLARE_IID(IDisplayPages, IID_IDisplayPages)

// IKrfLoader Interface
struct IKrfLoader : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE OpenRecording(BSTR FileName, IRecording** Result) = 0;

 protected:
  ~IKrfLoader() = default;
};
MLR_DECLARE_IID(IKrfLoader, IID_IKrfLoader)

// ISaveRecordingProgress Interface
struct ISaveRecordingProgress : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Status(kalSaveRecordingStatus* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ErrorCode(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Completion(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EstimatedTimeLeft(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ActiveTime(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Abort() = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SizeMultiplier(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EstimatedSize(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_BytesProcessed(LONG* pVal) = 0;

 protected:
  ~ISaveRecordingProgress() = default;
};
MLR_DECLARE_IID(ISaveRecordingProgress, IID_ISaveRecordingProgress)

// IRecordingProgress Interface
struct IRecordingProgress : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Status(kalRecordingProgressStatus* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ErrorCode(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Completion(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EstimatedTimeLeft(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ActiveTime(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Abort() = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SizeMultiplier(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EstimatedSize(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_BytesProcessed(LONG* pVal) = 0;

 protected:
  ~IRecordingProgress() = default;
};
MLR_DECLARE_IID(IRecordingProgress, IID_IRecordingProgress)

// IChannelResampler Interface
struct IChannelResampler : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_StartTime(double newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_EndTime(double newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Start(SAFEARRAY** Channels) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_XStep(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_XStep(double newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetNextMuxDataBuffer(
      LONG* lItemCount,
      SAFEARRAY** AnalogData,
      SAFEARRAY** EventData) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetNextDataBuffers(LONG* lItemCount, SAFEARRAY** Result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_InvalidSampleValue(double* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_InvalidSampleValue(double newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Flags(kalRecordingResamplerFlags* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Flags(kalRecordingResamplerFlags newVal) = 0;

 protected:
  ~IChannelResampler() = default;
};
MLR_DECLARE_IID(IChannelResampler, IID_IChannelResampler)

// IRecordings Interface
struct IRecordings : public IDispatch {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Item(LONG Index, BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Path(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE OpenRecording(BSTR FileName, IRecording** Recording) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) = 0;

 protected:
  ~IRecordings() = default;
};
MLR_DECLARE_IID(IRecordings, IID_IRecordings)

// Module KalvernRecordingAPI ("Kalvern Recording API Functions"): exported
// with C linkage under these names, in IDL order. IsVoidNumber alone returns
// its answer instead of an HRESULT.
MLR_API HRESULT STDAPICALLTYPE GetDisplayData(
    IChannelGroup* ChGrp,
    IChannelInfo* ChInfo,
    double StartTime,
    double EndTime,
    LONG Count,
    SAFEARRAY** Result);
MLR_API HRESULT STDAPICALLTYPE GetScaledMuxData(
    IChannelGroup* ChGrp,
    SAFEARRAY** ChInfo,
    LONG HNormIndex,
    LONG FirstSample,
    LONG ItemCount,
    LONG Reduction,
    SAFEARRAY** Result);
MLR_API HRESULT STDAPICALLTYPE GetResampledMuxData(
    IChannelGroup* ChGrp,
    SAFEARRAY** ChInfo,
    LONG HNormIndex,
    LONG FirstSample,
    LONG ItemCount,
    LONG Reduction,
    SAFEARRAY** Result);
MLR_API HRESULT STDAPICALLTYPE GetValueAtTime(IChannelInfo* ChInfo, double Time, double* Result);
MLR_API HRESULT STDAPICALLTYPE GetReducedMuxData(
    IChannelGroup* ChGrp,
    SAFEARRAY** ChInfo,
    LONG HNormIndex,
    LONG FirstSample,
    LONG ItemCount,
    LONG Reduction,
    LONG RequestReduction,
    SAFEARRAY** Result);
MLR_API HRESULT STDAPICALLTYPE GetSampleAtTime(IChannelInfo* ChInfo, double Time, short* Result);
MLR_API HRESULT STDAPICALLTYPE GetEstimatedTotalSize(
    IRecording* Recording,
    double StartTime,
    double EndTime,
    LONG* Result);
MLR_API HRESULT STDAPICALLTYPE MakeValidTime(LONG* plYear, LONG* plYearDay, double* pdTime);
MLR_API HRESULT STDAPICALLTYPE TimeDifference(
    LONG Year1,
    LONG Day1,
    double Time1,
    LONG Year2,
    LONG Day2,
    double Time2,
    double* Difference);
MLR_API HRESULT STDAPICALLTYPE RecordingTimeToDATE(
    LONG Year,
    LONG YearDay,
    double Time,
    VARIANT_BOOL Local,
    DATE* Date);
MLR_API HRESULT STDAPICALLTYPE RecordingTimeToLocalTime(LONG* Year, LONG* YearDay, double* Time);
MLR_API HRESULT STDAPICALLTYPE LocalTimeToRecordingTime(LONG* Year, LONG* YearDay, double* Time);
MLR_API HRESULT STDAPICALLTYPE GetEventTimesFromCollection(
    IRecording* Recording,
    kalRecordingCollection Collection,
    double StartTime,
    double EndTime,
    LONG Count,
    SAFEARRAY** Items);
MLR_API HRESULT STDAPICALLTYPE FindItemFromTimeCollection(
    IRecording* Recording,
    kalRecordingCollection Collection,
    double Time,
    LONG Direction,
    IUnknown** Result);
MLR_API HRESULT STDAPICALLTYPE SaveRecording(
    BSTR FileName,
    SAFEARRAY** ChannelInfos,
    double StartTime,
    double EndTime,
    kalSaveRecordingFlags Options,
    ISaveRecordingProgress** Result);
MLR_API VARIANT_BOOL STDAPICALLTYPE IsVoidNumber(double dValue);

// Exported beside the module but not part of the type library: splits a
// recording time (UTC year, day of the year, seconds since midnight) into a
// SYSTEMTIME, day of the week included. Days outside 1 .. length of the year
// leave wMonth and wDay as they were. S_OK, or E_POINTER for a null
// SystemTime.
MLR_API HRESULT STDAPICALLTYPE RecordingTimeToSystemTime(
    LONG Year,
    LONG YearDay,
    double Time,
    SYSTEMTIME* SystemTime);
