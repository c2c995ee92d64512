#include "reader/path_split.h"

namespace mlr::reader {

PathParts SplitRecordingPath(const std::string& path) {
  PathParts parts;
  std::string rest = path;
  const size_t dot = rest.rfind('.');
  if (dot != std::string::npos) {
    parts.extension = rest.substr(dot + 1);
    rest.resize(dot);
  }
  const size_t sep = rest.find_last_of("\\/");
  if (sep == std::string::npos) {
    parts.title = rest;
  } else {
    parts.title = rest.substr(sep + 1);
    parts.location = rest.substr(0, sep);
  }
  return parts;
}

}  // namespace mlr::reader
