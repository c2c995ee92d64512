// Output helpers of the krf data commands (data, display, plot, value).
#pragma once

#include <string>

namespace krf {

// The description of the error object that the last data function left on
// this thread, or "" when there is none. Takes the error object.
std::string TakeErrorText();

// `what`, followed by the description of the error object that the failing
// data function left on this thread, if any: "GetScaledMuxData failed (No
// horizontal normsets)". Takes the error object.
std::string WithErrorText(const std::string& what);

// The shortest decimal text that reads back as the same float; "nan" for
// every NaN (whatever its sign and payload).
std::string RoundTripFloat(float value);

}  // namespace krf
