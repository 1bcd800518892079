// kivhost: scans for tape drives and libraries, updates drive firmware and sets parameters with kiv.dll.

#include <fcntl.h>
#include <fmt/format.h>
#include <io.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

#include "host/commands.h"
#include "host/core/result.h"
#include "host/kiv_dll.h"
#include "host/simulation.h"
#include "kiv/kiv.h"

namespace {

struct Options {
  bool debug = false;
  std::string library;
  bool simulate = false;
  std::string room;
};

/// Runs a command between the first and the last call that a host owes the library.
int withKiv(const Options& options, bool usesClasses, const std::function<int()>& command) {
  const host::KivDll dll(options.library);
  if (usesClasses) dll.requireClasses();
  std::optional<host::Simulation> simulation;
  if (options.simulate || !options.room.empty()) simulation.emplace(options.room);
  struct Session {
    Session() { kivInit(); }
    ~Session() { kivFini(); }
  };
  const int result = (Session(), command());
  if (simulation) simulation->keep();
  return result;
}

int run(int argc, char** argv) {
  CLI::App app("Finds tape drives and tape libraries and updates drive firmware.", "kivhost");
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(
      "The exit status is the library's result code, 0 for success.\n"
      "Config.txt, Devlist.txt and the firmware images are looked for in the working directory.");

  Options options;
  app.add_flag("--debug", options.debug, "Show the library's log");
  app.add_option("--library", options.library, "The DLL to load (default: kiv.dll beside this program)");
  app.add_flag("--simulate", options.simulate, "Use a simulated tape room instead of the hardware");
  app.add_option("--room", options.room,
                 "Use the simulated tape room in this JSON file, which keeps the drives' levels");

  int status = 0;
  bool usesClasses = false;
  const auto inKiv = [&](std::function<int()> command) {
    return [&, work = std::move(command)] { status = withKiv(options, usesClasses, work); };
  };

  bool xml = false;
  CLI::App* scan = app.add_subcommand("scan", "List the supported devices");
  scan->add_flag("--xml", xml, "Print the report as the library wrote it");
  scan->add_flag("--elements", usesClasses, "List what lies where in every tape library, too");
  scan->callback(inKiv([&] { return host::scan(xml, usesClasses, options.debug); }));

  int index = 0;
  bool force = false;
  CLI::App* update = app.add_subcommand("update", "Bring one drive to the level that Config.txt names");
  update->add_option("INDEX", index, "The drive's index in the scan")->required();
  update->add_flag("--force", force, "Whatever level the drive runs");
  update->callback(inKiv([&] { return host::update(index, force, options.debug); }));

  CLI::App* updateAll =
      app.add_subcommand("update-all", "Bring every drive to the level that Config.txt names");
  updateAll->add_flag("--force", force, "Whatever level a drive runs");
  updateAll->callback(inKiv([&] { return host::updateAll(force, options.debug); }));

  std::optional<host::Assignment> assignment;
  CLI::App* params = app.add_subcommand("params", "Show the parameters of one drive, or set one of them");
  params->add_option("INDEX", index, "The drive's index in the scan")->required();
  params
      ->add_option_function<std::string>(
          "--set",
          [&](const std::string& text) {
            try {
              assignment = host::parseAssignment(text);
            } catch (const host::HostError& error) {
              throw CLI::ValidationError("--set", error.what());
            }
          },
          "Set a parameter, such as compression=on")
      ->type_name("NAME=VALUE");
  params->callback([&] {
    usesClasses = true;
    inKiv([&] { return host::params(index, assignment, options.debug); })();
  });

  CLI::App* version = app.add_subcommand("version", "Print the library's version");
  version->callback(inKiv([] {
    fmt::print("kiv {}\n", getKivVersion());
    return 0;
  }));

  std::string file;
  std::string level;
  std::size_t size = 0;
  CLI::App* makeImage = app.add_subcommand("make-image", "Write a firmware image for simulated drives");
  makeImage->add_option("FILE", file)->required();
  makeImage->add_option("LEVEL", level, "Four characters")->required();
  makeImage->add_option("SIZE", size, "Bytes")->required();
  makeImage->callback([&] { host::makeImage(file, level, size); });

  CLI::App* makeRoom = app.add_subcommand("make-room", "Write the built-in simulated room to a JSON file");
  makeRoom->add_option("FILE", file)->required();
  makeRoom->callback([&] { host::makeRoom(file); });

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : host::exitUsage;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  // Reports are printed as they are, with a line feed alone at a line's end.
  _setmode(_fileno(stdout), _O_BINARY);
  try {
    return run(argc, argv);
  } catch (const host::HostError& error) {
    fmt::print(stderr, "kivhost: {}\n", error.what());
  } catch (const std::exception& error) {
    fmt::print(stderr, "kivhost: Something unforeseen happened ({}): run the command again with --debug.\n",
               error.what());
  }
  return host::exitHostFailure;
}
