// The --collection option of the event commands (krf events, krf find):
// markers, bookmarks, voicemarks or triggers, or the selector's number
// (kalRecordingCollection), which is handed on as it stands.
#pragma once

#include <CLI/CLI.hpp>

#include "LegacyRecording.h"

namespace krf {

// Adds a required --collection option that parses into *selector.
CLI::Option* AddCollectionOption(CLI::App& app, LONG* selector);

}  // namespace krf
