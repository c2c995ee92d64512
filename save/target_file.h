// The target file of a save, outside its storages: the removable-drive test,
// the deletion of a partial file and the time stamps of a finished one.
//
// Threading: any thread. Failures are ignored where the save ignores them
// (deletion, time stamps).
#pragma once

#include <string>

#include "platform/win.h"
#include "platform/strings.h"

namespace mlr::save {

// Whether the target lies on a removable drive: the drive of a name with a
// drive letter ("E:" of "E:\x.krf"), otherwise the folder that holds the
// file (the current folder for a bare name), as GetDriveTypeA reports it.
bool IsRemovableTarget(const mlr::OleString& file_name);

// Deletes the file: through the KSS storage provider's delete-file operation
// when the provider can be created, else with DeleteFileA.
void DeleteTargetFile(const mlr::OleString& file_name);

// Sets the file's creation, access and write times to `time` (a DATE taken as
// UTC, without time-zone conversion). false when the file cannot be opened or
// the time cannot be converted.
bool StampTargetFile(const mlr::OleString& file_name, DATE time);

// The file name in the process's "ANSI" code page.
std::string AnsiFileName(const mlr::OleString& file_name);

}  // namespace mlr::save
