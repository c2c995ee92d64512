// The module's services beyond one recording: creating the library's
// classes and starting a save.
//
//   create(name) -> Object: a new object of the creatable class `name`
//     ("KrfLoader", "ChannelResampler"), made through the library's class
//     object (DllGetClassObject), with no session. A class this build of the
//     library does not serve raises movalegacy.Error.
//   save_recording(path, channels, start, end, options) -> Object
//     (ISaveRecordingProgress): SaveRecording with the channels as a vector
//     of VARIANTs holding their IDispatch. The function is looked up in the
//     library's own module; a build without it raises movalegacy.Error
//     (E_NOTIMPL).
//   status_name(status) -> str: see StatusName (status_error.h).
#pragma once

#include <pybind11/pybind11.h>

namespace movalegacy {

void RegisterServices(pybind11::module_& m);

}  // namespace movalegacy
