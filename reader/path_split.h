// Splitting the recording's path into Title, Location and Extension.
//
// The extension is the text after the last "." anywhere in the path (the
// dot cut off); in what remains, the title is the text after the last path
// separator and the location the text before it. The dot is searched in the
// whole path, so a name without extension in a folder whose name has a dot
// splits at the folder's dot ("C:\a.b\file" gives extension "b\file", title
// "a", location "C:"); readers of these files have always split that way.
// Both "\" and "/" count as separators, so Windows-style and POSIX paths
// split alike. Without a separator the location is empty.
#pragma once

#include <string>

namespace mlr::reader {

struct PathParts {
  std::string title;
  std::string location;
  std::string extension;
};

PathParts SplitRecordingPath(const std::string& path);

}  // namespace mlr::reader
