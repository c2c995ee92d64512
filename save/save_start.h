// StartSave: the last steps of SaveRecording, once the model is built and
// the target's root storage exists: creates the "Data" storage, makes the
// main save thread (which takes the model) and the progress object, starts
// the thread as "KrfMain", waits 20 ms so that it runs before the first
// poll, and hands out the progress object.
//
// *result is null on failure: the failure of creating "Data" or of the
// interface table, E_OUTOFMEMORY, or E_FAIL when the thread cannot be
// started (the model is then deleted; a file already created stays). The
// caller keeps its own reference to `root`.
// Threading: the caller's thread; the save then runs on its own threads.
#pragma once

#include <memory>

#include "LegacyRecording.h"
#include "platform/win.h"
#include "save/save_clock.h"
#include "save/save_model.h"

namespace mlr::save {

class CMainSaveThread;

// `thread`, when given, receives the main save thread before it starts (for
// tests that watch it; valid while the progress object lives).
// SaveRecording (the exported entry point, save/save_recording_api.cc) on
// `clock`: the entry point passes SystemSaveClock, tests a clock they move by
// hand.
HRESULT SaveRecordingWithClock(BSTR FileName, SAFEARRAY** ChannelInfos, double StartTime,
                               double EndTime, LONG Options, const CSaveClock& clock,
                               ISaveRecordingProgress** Result);

HRESULT StartSave(const OLECHAR* file_name, IStorage* root, std::unique_ptr<CSaveModel> model,
                  const CSaveClock& clock, ISaveRecordingProgress** result,
                  CMainSaveThread** thread = nullptr);

}  // namespace mlr::save
