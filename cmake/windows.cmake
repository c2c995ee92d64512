# The Windows build (mingw-w64 cross build, cmake/mingw-w64-x86_64.cmake):
# only the DLL movaLegacyRecording.dll and the test client. platform/ maps to
# the system's Win32, ole32 and oleaut32 (no platform/posix, no storage/);
# the type library is compiled from server/LegacyRecording.idl with widl and
# embedded with the registration scripts and the message table
# (server/error_messages.inc, the library's one copy) as resources.
list(FILTER MLR_SOURCES EXCLUDE REGEX "/(platform/posix|storage)/")
list(FILTER MLR_SOURCES EXCLUDE REGEX "/platform/file\\.cc$")

find_program(MLR_WIDL NAMES widl REQUIRED)
set(MLR_WINE_IDL_DIR /usr/include/wine/wine/windows CACHE PATH "oaidl.idl and friends")
set(MLR_WINE_TLB_DIR /usr/lib/x86_64-linux-gnu/wine/x86_64-windows CACHE PATH "stdole2.tlb")

# widl takes neither help strings on enumeration constants nor
# SAFEARRAY(IChannelInfo*) as a parameter type: a copy of the IDL drops the
# former and names the latter through a typedef.
set(MLR_WIDL_IDL ${CMAKE_BINARY_DIR}/generated/LegacyRecording.widl.idl)
set(MLR_TLB ${CMAKE_BINARY_DIR}/generated/LegacyRecording.tlb)
add_custom_command(OUTPUT ${MLR_WIDL_IDL}
  COMMAND ${CMAKE_COMMAND} -DIN=${CMAKE_SOURCE_DIR}/server/LegacyRecording.idl
          -DOUT=${MLR_WIDL_IDL} -P ${CMAKE_SOURCE_DIR}/cmake/widl_idl.cmake
  DEPENDS ${CMAKE_SOURCE_DIR}/server/LegacyRecording.idl ${CMAKE_SOURCE_DIR}/cmake/widl_idl.cmake)
add_custom_command(OUTPUT ${MLR_TLB}
  COMMAND ${MLR_WIDL} -m64 -I ${MLR_WINE_IDL_DIR} -L ${MLR_WINE_TLB_DIR} -t -o ${MLR_TLB}
          ${MLR_WIDL_IDL}
  DEPENDS ${MLR_WIDL_IDL})

configure_file(${CMAKE_SOURCE_DIR}/server/movaLegacyRecording.rc.in
  ${CMAKE_BINARY_DIR}/generated/movaLegacyRecording.rc @ONLY)
set_source_files_properties(${CMAKE_BINARY_DIR}/generated/movaLegacyRecording.rc
  PROPERTIES OBJECT_DEPENDS "${MLR_TLB};${CMAKE_SOURCE_DIR}/server/KrfLoader.rgs;${CMAKE_SOURCE_DIR}/server/ChannelResampler.rgs;${CMAKE_SOURCE_DIR}/server/error_messages.inc")

add_library(movaLegacyRecording SHARED ${MLR_SOURCES}
  ${CMAKE_BINARY_DIR}/generated/movaLegacyRecording.rc
  ${CMAKE_SOURCE_DIR}/server/movaLegacyRecording.def)
set_target_properties(movaLegacyRecording PROPERTIES PREFIX "")
target_include_directories(movaLegacyRecording PUBLIC
  ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include ${CMAKE_BINARY_DIR}/generated)
target_compile_definitions(movaLegacyRecording PUBLIC MLR_BUILDING_LIBRARY _WIN32_WINNT=0x0A00)
# One self-contained DLL: the C and C++ runtimes and winpthread linked in.
target_link_options(movaLegacyRecording PRIVATE -static -static-libgcc -static-libstdc++)
target_link_libraries(movaLegacyRecording PRIVATE ole32 oleaut32 uuid winmm)

# The test client (tests/windows/client.cc), which uses the DLL only through
# COM and its exports.
if(MLR_TESTS)
  add_executable(mlr_client ${CMAKE_SOURCE_DIR}/tests/windows/client.cc)
  target_include_directories(mlr_client PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
  target_link_options(mlr_client PRIVATE -municode -static -static-libgcc -static-libstdc++)
  target_link_libraries(mlr_client PRIVATE ole32 oleaut32 uuid)
endif()
