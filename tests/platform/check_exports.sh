#!/bin/sh
# The shared library exports the automation runtime and the module's
# functions under their C names and no C++ (mangled) symbol.
# Usage: check_exports.sh libmovaLegacyRecording.so
set -eu
lib="$1"
symbols=$(nm -D --defined-only "$lib" | awk '{print $NF}')
status=0
mangled=$(printf '%s\n' "$symbols" | grep '^_Z' || true)
if [ -n "$mangled" ]; then
  echo "exports: C++ symbols exported by $lib:"
  printf '%s\n' "$mangled" | head -20
  status=1
fi
for name in SysAllocString SysFreeString SysStringLen VariantInit VariantClear VariantCopy \
            VariantChangeType SafeArrayCreate SafeArrayDestroy SafeArrayAccessData \
            SafeArrayGetElement SafeArrayRedim CreateErrorInfo GetErrorInfo SetErrorInfo \
            CoInitializeEx CoCreateInstance CoTaskMemFree CreateStreamOnHGlobal \
            PropVariantClear \
            MakeValidTime TimeDifference RecordingTimeToDATE RecordingTimeToSystemTime \
            RecordingTimeToLocalTime LocalTimeToRecordingTime IsVoidNumber \
            GetSampleAtTime GetValueAtTime GetEventTimesFromCollection FindItemFromTimeCollection \
            GetEstimatedTotalSize GetScaledMuxData GetResampledMuxData GetReducedMuxData GetDisplayData; do
  if ! printf '%s\n' "$symbols" | grep -qx "$name"; then
    echo "exports: $name is not exported by $lib"
    status=1
  fi
done
exit $status
