// krf upgrade FILE: opens the file as OpenRecording does (read-write when
// allowed), which applies the upgrade of old files, and reports the outcome.
#include <cstdio>
#include <string>

#include "reader/krf_recording.h"
#include "reader/text_convert.h"
#include "tools/krf/command.h"
#include "tools/krf/recording_view.h"

namespace {

const krf::Registrar kUpgrade(
    "upgrade", "Open a recording read-write, upgrading it if it is an old file", [](CLI::App& app) {
      auto file = std::make_shared<std::string>();
      app.add_option("FILE", *file, "recording file")->required();
      return [file]() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        int status = 0;
        {
          const std::u16string wide = mlr::reader::AnsiToUtf16(*file);
          CKrfRecording* recording = CKrfRecording::Open(wide.c_str());
          const HRESULT hr = recording->open_result();
          if (FAILED(hr)) {
            status = krf::ReportError(*file, hr == STG_E_FILENOTFOUND
                                                 ? "no such file or no \"Data\" storage"
                                                 : "cannot open the recording",
                                      hr);
          } else if (recording->upgraded() &&
                     (recording->open_mode() & (STGM_WRITE | STGM_READWRITE)) == 0) {
            status = krf::ReportError(*file, "old file, but it can only be opened read-only",
                                      STG_E_ACCESSDENIED);
          } else if (recording->upgraded()) {
            std::printf("%s: upgraded (format version 0x%X%s)\n", file->c_str(),
                        static_cast<unsigned>(recording->version()),
                        recording->modified() ? ", version record appended, file times reset"
                                              : "");
          } else {
            std::printf("%s: no upgrade needed (format version 0x%X)\n", file->c_str(),
                        static_cast<unsigned>(recording->version()));
          }
          recording->Release();
        }
        CoUninitialize();
        return status;
      };
    });

}  // namespace
