// The saved recording's own records, written after phase 1:
//   Data/Intern01  tag 2 the time unit of the first source, tag 7 its time
//                  per division hint, tags 8, 9, 10 the saved UTC start, tag
//                  20 the version: 0x20000, or 0x30000 with kalSRF_UseKSS
//                  (16-byte index entries need it); then 0xFFFF
//   Data/Config01  the group numbers 1..G, then 0xFFFFFFFF
//   Summary Information (root)  PIDSI_COMMENTS the comment of the first
//                  source (when it has one), PIDSI_APPNAME
//                  "movaLegacyRecording", PIDSI_CREATE_DTM the creation time
//                  (strings VT_LPSTR in the "ANSI" code page)
// Threading: the main save thread.
#pragma once

#include "LegacyRecording.h"
#include "platform/win.h"
#include "save/save_alignment.h"

namespace mlr::save {

inline constexpr char kSaveApplicationName[] = "movaLegacyRecording";

// Intern01 and Config01 in `data` for `group_count` groups. The first
// failure to create or write a stream.
HRESULT WriteRecordingRecords(IStorage* data, IRecording* first_source,
                              const SaveAlignment& alignment, ULONG group_count, LONG options);

// The Summary Information set of `root` (PROPSETFLAG_ANSI, mode 0x1012).
// `created` is the creation time to store. The first failure.
HRESULT WriteSummaryInformation(IStorage* root, IRecording* first_source, FILETIME created);

}  // namespace mlr::save
