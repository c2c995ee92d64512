#include "tools/krf/collection_option.h"

#include <map>
#include <string>

namespace krf {

CLI::Option* AddCollectionOption(CLI::App& app, LONG* selector) {
  static const std::map<std::string, LONG> kNames = {
      {"markers", kalRecColMarkers},
      {"bookmarks", kalRecColBookmarks},
      {"voicemarks", kalRecColVoicemarks},
      {"triggers", kalRecColTriggers},
  };
  return app.add_option("--collection", *selector,
                        "markers, bookmarks, voicemarks, triggers (or a selector number)")
      ->required()
      ->transform(CLI::Transformer(kNames, CLI::ignore_case));
}

}  // namespace krf
