#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/core/drive_order.h"
#include "host/core/error.h"

namespace host {
namespace {

void addSelection(CLI::App& command, Selection& selection) {
  command
      .add_option_function<std::string>(
          "INDEX", [&](const std::string& word) { selection.index = word; }, "One device, as the scan counts")
      ->type_name("");
  const auto addList = [&](const char* name, std::vector<std::string>& list, const char* type,
                           const char* text) {
    command.add_option(name, list, text)->type_name(type)->allow_extra_args(false);
  };
  addList("--serial", selection.serials, "S", "The device with this serial number; repeatable");
  addList("--address", selection.addresses, "H,B,T,L", "The device at this address; repeatable");
  addList("--product", selection.products, "TEXT", "Every device with this product string; repeatable");
  command.add_flag("--all", selection.all, "Every drive that Config.txt names");
}

/// The next option is not the value of one that lacks its own.
void refuseOptionsAsValues(CLI::App& app) {
  const CLI::Validator isValue(
      [](std::string& word) { return word.starts_with("--") ? word + " stands where its value should" : ""; },
      "");
  for (CLI::Option* option : app.get_options())
    if (option->get_expected_min() > 0 && option->nonpositional()) option->check(isValue);
  for (CLI::App* command : app.get_subcommands({})) refuseOptionsAsValues(*command);
}

void addUpdateFlags(CLI::App& command, UpdateFlags& flags) {
  command.add_flag("--force", flags.force, "Also to a lower level, and to the level that a drive runs");
  command.add_flag("--eject", flags.eject, "Eject a loaded cartridge");
}

/// The words behind the options that every command has: "scan --elements" of "kivhost --log FILE scan
/// --elements".
std::vector<std::string> ownWords(const CLI::App& app, const std::vector<std::string>& words) {
  std::vector<std::string> own;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string name = words[i].substr(0, words[i].find('='));
    const CLI::Option* option = name.starts_with("--") ? app.get_option_no_throw(name) : nullptr;
    if (!option) {
      own.push_back(words[i]);
    } else if (option->get_expected_min() > 0 && name == words[i]) {
      ++i;
    }
  }
  return own;
}

/// "foo" of "kivhost --debug foo": the word that stands where a command should.
std::string wordInstead(const CLI::App& app, const std::vector<std::string>& words) {
  const auto isCommand = [&](const std::string& word) {
    return !app.get_subcommands([&](const CLI::App* command) { return command->check_name(word); }).empty();
  };
  for (const std::string& word : ownWords(app, words)) {
    if (!word.starts_with('-') && !isCommand(word)) return word;
  }
  return "";
}

}  // namespace

bool readCommandLine(const std::vector<std::string>& words, CommandLine& commandLine, Refusal& refusal) {
  Options& options = commandLine.options;
  CLI::App app("Finds tape drives and tape libraries and updates drive firmware.", "kivhost");
  app.require_subcommand(1);
  app.fallthrough();
  app.allow_windows_style_options(false);
  app.footer(
      "Config.txt, Devlist.txt and the firmware images are looked for in the working directory.\n"
      "docs/host.md tells what every exit status means.");
  app.add_flag("--json", options.json, "One JSON document on standard output");
  app.add_flag("--debug", options.debug, "The library's log on standard error");
  app.add_option("--log", options.log, "The library's log into this file")->type_name("FILE");
  app.add_option("--library", options.session.library, "The DLL to load")->type_name("DLL");
  auto* simulate =
      app.add_flag("--simulate", options.session.simulate, "A simulated tape room, not the hardware");
  auto* room = app.add_option("--room", options.session.room,
                              "The simulated tape room in this file, which keeps the levels")
                   ->type_name("FILE")
                   ->excludes(simulate);
  auto* record = app.add_option("--record", options.record,
                                "Write every call for a device, and its answer, into this new file")
                     ->type_name("FILE");
  app.add_flag("--mask", options.mask, "Record other serial numbers, barcodes and world wide names")
      ->needs(record);
  app.add_option("--replay", options.session.replay, "Answer from this recording, not from hardware")
      ->type_name("FILE")
      ->excludes(simulate)
      ->excludes(room)
      ->excludes(record);

  const auto add = [&](const char* name, const char* text, int (*command)(Run&)) {
    CLI::App* subcommand = app.add_subcommand(name, text);
    subcommand->callback([&commandLine, command] { commandLine.command = command; });
    return subcommand;
  };
  CLI::App* command = add("scan", "List the devices of the maker", scan);
  addSelection(*command, options.selection);
  command->add_flag("--elements", options.elements, "What lies where in the tape libraries, too");
  command->add_flag("--xml", options.xml, "As XML");

  command = add("plan", "Say what an update would do, and write nothing", plan);
  addSelection(*command, options.selection);
  addUpdateFlags(*command, options.update);

  const auto addUpdate = [&](const char* name, const char* text) {
    command = add(name, text, update);
    addUpdateFlags(*command, options.update);
    command->add_flag("--yes", options.yes, "Do not ask");
    command
        ->add_option("--max-reboot", options.maxRebootMinutes,
                     "How long a drive may take to restart; 20 at first")
        ->type_name("MINUTES")
        ->check(CLI::Range(1, 1440));
    return command;
  };
  addSelection(*addUpdate("update", "Bring drives to the level that Config.txt names"), options.selection);
  addUpdate("update-all", "Short for update --all")->preparse_callback([&](std::size_t) {
    options.selection.all = true;
  });

  add("check", "Look for what Config.txt, Devlist.txt and the images may not mean", check);
  command = add("params", "Show the parameters of one drive, or set some", params);
  addSelection(*command, options.selection);
  command->add_option("--set", options.settings, "As in compression=on; repeatable")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  addSelection(*add("elements", "List what lies where in the tape libraries", elements), options.selection);
  add("version", "Print the library's version", version);
  command = add("make-room", "Write the built-in simulated room to a file", makeRoom);
  command->add_option("FILE", options.file)->required();
  command->add_flag("--force", options.update.force, "Also over a file that is there");
  command = add("make-image", "Write a firmware image for simulated drives", makeImage);
  command->add_option("FILE", options.file)->required();
  command->add_option("LEVEL", options.level, "Four characters")->required();
  command->add_option("SIZE", options.size, "Bytes")->required();
  command = add("mask", "Copy a recording with other serial numbers, barcodes and world wide names", mask);
  command->add_option("FILE", options.file)->required();
  command->add_option("COPY", options.copy)->required();

  refuseOptionsAsValues(app);

  // A document is due whatever is wrong with the other words.
  options.json = std::find(words.begin(), words.end(), "--json") != words.end();
  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    options.selection.check();
    if (options.xml && options.json)
      throw HostError(exitUsage, "--xml and --json exclude each other: choose one.");
    const CLI::App* used = app.get_subcommands().front();
    if ((used->get_name() == "update" || used->get_name() == "params") && options.selection.empty())
      throw HostError(exitUsage, used->get_name() +
                                     " needs a selection: INDEX, --serial, --address, --product or --all.");
    if (!options.record.empty())
      options.session.record = options.mask ? unmaskedFile(options.record) : options.record;
    for (const std::string& word : ownWords(app, words))
      options.session.command += (options.session.command.empty() ? "" : " ") + word;
    return true;
  } catch (const CLI::CallForHelp&) {
    refusal.help = app.help();
  } catch (const CLI::ParseError& error) {
    const std::string word = wordInstead(app, words);
    refusal.status = exitUsage;
    refusal.message = error.what();
    if (app.get_subcommands().empty() && !word.empty()) refusal.message = word + " is no command";
    refusal.message += ". See kivhost --help.";
  } catch (const HostError& error) {
    refusal.status = error.status;
    refusal.message = error.what();
  }
  return false;
}

}  // namespace host
