// krf info FILE [--json]: the recording's description. Opens read-only.
#include <cstdio>
#include <string>

#include "tools/krf/command.h"
#include "tools/krf/recording_view.h"

namespace {

using nlohmann::json;

std::string Num(const json& v) {
  if (v.is_null()) return "void";
  if (v.is_number_float()) return krf::RoundTrip(v.get<double>());
  return v.dump();
}

void PrintText(const json& r) {
  std::printf("Recording   %s (location \"%s\", extension \"%s\")\n",
              r["Title"].get<std::string>().c_str(), r["Location"].get<std::string>().c_str(),
              r["Extension"].get<std::string>().c_str());
  std::printf("Comment     %s\n", r["Comment"].get<std::string>().c_str());
  std::printf("Start (UTC) year %s, day %s, %s s\n", Num(r["UTCYear"]).c_str(),
              Num(r["UTCYearDay"]).c_str(), Num(r["UTCTimeOfDay"]).c_str());
  std::printf("Time        %s to %s %s (duration %s), %s per division\n",
              Num(r["StartTime"]).c_str(), Num(r["EndTime"]).c_str(),
              r["XUnits"].get<std::string>().c_str(), Num(r["Duration"]).c_str(),
              Num(r["TimePerDivisionHint"]).c_str());
  std::printf("Size        %s KB\n", Num(r["TotalSize"]).c_str());
  for (const json& g : r["ChannelGroups"]) {
    std::printf("Group %s     %s to %s, %zu normset(s), %zu channel(s)\n", Num(g["Index"]).c_str(),
                Num(g["StartTime"]).c_str(), Num(g["EndTime"]).c_str(), g["HNorms"].size(),
                g["ChannelInfos"].size());
    for (const json& h : g["HNorms"]) {
      std::printf("  normset %s: from %s, step %s, %s samples\n", Num(h["Index"]).c_str(),
                  Num(h["StartTime"]).c_str(), Num(h["XStep"]).c_str(), Num(h["Length"]).c_str());
    }
    for (const json& c : g["ChannelInfos"]) {
      if (c["EventChannel"].get<bool>()) {
        std::string bits;
        int b = 1;
        for (const json& name : c["BitNames"]) {
          if (!name.get<std::string>().empty()) {
            bits += (bits.empty() ? "" : ", ") + std::to_string(b) + " " + name.get<std::string>();
          }
          ++b;
        }
        std::printf("  channel %s: event channel (bits: %s)\n", Num(c["Index"]).c_str(),
                    bits.c_str());
      } else {
        std::printf("  channel %s: %s [%s], %zu scaling(s)\n", Num(c["Index"]).c_str(),
                    c["Name"].get<std::string>().c_str(), c["YUnits"].get<std::string>().c_str(),
                    c["VNorms"].size());
      }
    }
  }
  std::printf("Markers     %zu\n", r["Markers"].size());
  for (const json& m : r["Markers"]) std::printf("  at %s\n", Num(m["Time"]).c_str());
  std::printf("Bookmarks   %zu\n", r["Bookmarks"].size());
  for (const json& b : r["Bookmarks"]) {
    std::printf("  at %s: %s\n", Num(b["Time"]).c_str(), b["Name"].get<std::string>().c_str());
  }
  std::printf("Triggers    %zu\n", r["Triggers"].size());
  for (const json& t : r["Triggers"]) {
    std::printf("  at %s: %s (source %s", Num(t["Time"]).c_str(),
                t["Name"].get<std::string>().c_str(), Num(t["Source"]).c_str());
    if (!t["ChannelInfo"].is_null()) {
      std::printf(", group %s channel %s", Num(t["ChannelGroup"]).c_str(),
                  Num(t["ChannelInfo"]).c_str());
    }
    std::printf(")\n");
  }
  std::printf("Voice marks %zu\n", r["VoiceMarks"].size());
  for (const json& v : r["VoiceMarks"]) {
    std::printf("  at %s: %s samples, %s Hz, %s bit, %s channel(s)\n", Num(v["Time"]).c_str(),
                Num(v["Length"]).c_str(), Num(v["SamplesPerSec"]).c_str(),
                Num(v["BitsPerSample"]).c_str(), Num(v["Channels"]).c_str());
  }
  std::printf("Physical channels %zu\n", r["PhysicalChannels"].size());
  for (const json& p : r["PhysicalChannels"]) {
    std::printf("  board %s channel %s: %s, %s", Num(p["Board"]).c_str(), Num(p["Channel"]).c_str(),
                p["Name"].get<std::string>().c_str(),
                p["StorageEnabled"].get<bool>() ? "stored" : "not stored");
    if (!p["ChannelInfo"].is_null()) {
      std::printf(" as group %s channel %s", Num(p["ChannelGroup"]).c_str(),
                  Num(p["ChannelInfo"]).c_str());
    }
    std::printf("\n");
  }
  std::printf("Display pages %zu\n", r["DisplayPages"].size());
  for (const json& d : r["DisplayPages"]) {
    std::printf("  page %s: set-up %s bytes, trace assignment %s\n", Num(d["Index"]).c_str(),
                Num(d["PageSetupBytes"]).c_str(),
                d["TraceAssignmentBytes"].is_null()
                    ? "none"
                    : (Num(d["TraceAssignmentBytes"]) + " bytes").c_str());
  }
}

const krf::Registrar kInfo("info", "Describe a recording (opens it read-only)", [](CLI::App& app) {
  auto file = std::make_shared<std::string>();
  auto as_json = std::make_shared<bool>(false);
  app.add_option("FILE", *file, "recording file")->required();
  app.add_flag("--json", *as_json, "print one JSON object keyed by member names");
  return [file, as_json]() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    int status = 0;
    {
      mlr::ComPtr<IRecording> recording;
      krf::OpenError error;
      if (!krf::OpenForInspection(*file, &recording, &error)) {
        status = krf::ReportError(*file, error.message, error.status);
      } else {
        const json description = krf::DescribeRecording(recording.get());
        if (*as_json) {
          std::printf("%s\n", description.dump(2).c_str());
        } else {
          PrintText(description);
        }
      }
    }
    CoUninitialize();
    return status;
  };
});

}  // namespace
