// Writing a recording tree (krf_builder.h) into a compound file through the
// IStorage API: storages and streams byte for byte, then the Summary
// Information set (comment and application name, VT_LPSTR) when the tree
// has them.
#pragma once

#include <string>

#include "platform/win.h"
#include "testing/krf_builder.h"

namespace mlr::testing {

// Writes `tree` below `root`.
HRESULT WriteTree(IStorage* root, const FileTree& tree);

// Creates (replacing) the file `path` and writes the tree into it.
HRESULT WriteRecordingFile(const std::string& path, const FileTree& tree);
inline HRESULT WriteRecordingFile(const std::string& path, const RecordingSpec& spec) {
  return WriteRecordingFile(path, BuildTree(spec));
}

// UTF-8 path to the wide form the storage functions take.
std::u16string WidePath(const std::string& path);

}  // namespace mlr::testing
