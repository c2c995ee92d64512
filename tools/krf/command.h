// krf: the command-line tool over the library.
//
// Each subcommand lives in its own file and registers itself with a static
// `krf::Registrar`: `setup` receives the subcommand's CLI11 app, adds its
// options and returns the function that runs it (its result is the process's
// exit status). Commands print errors as one line through `krf::Fail`.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace krf {

using Runner = std::function<int()>;
using Setup = std::function<Runner(CLI::App&)>;

struct Registrar {
  Registrar(const char* name, const char* help, Setup setup);
};

}  // namespace krf
