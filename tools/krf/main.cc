#include "tools/krf/command.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace krf {
namespace {

struct Command {
  const char* name;
  const char* help;
  Setup setup;
};

std::vector<Command>& Commands() {
  static std::vector<Command> commands;
  return commands;
}

}  // namespace

Registrar::Registrar(const char* name, const char* help, Setup setup) {
  Commands().push_back({name, help, std::move(setup)});
}

}  // namespace krf

int main(int argc, char** argv) {
  CLI::App app{"krf: inspect legacy recordings and the compound files that hold them"};
  app.require_subcommand(1);
  std::vector<std::pair<CLI::App*, krf::Runner>> runners;
  for (auto& command : krf::Commands()) {
    CLI::App* sub = app.add_subcommand(command.name, command.help);
    runners.emplace_back(sub, command.setup(*sub));
  }
  CLI11_PARSE(app, argc, argv);
  for (auto& [sub, run] : runners) {
    if (sub->parsed()) return run();
  }
  return 2;
}
