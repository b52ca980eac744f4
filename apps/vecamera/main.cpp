#include <CLI/CLI.hpp>
#include <cmath>
#include <exception>
#include <iostream>
#include <utility>

#include "Completions.h"
#include "VECamera/platform/UIKit.h"
#include "apps/vecamera/commands/Commands.h"
#include "apps/vecamera/terminal/Arguments.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/media/base/MovieFormats.h"
#include "device/script/json/JsonFields.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::app {
namespace {

/// What the arguments ask for.
using Action = std::function<ExitStatus()>;

/// Has the command ask for the action, once its arguments are read.
void onCalled(CLI::App& command, Action& requested, Action action) {
  command.callback([&requested, action = std::move(action)] { requested = action; });
}

/// An option whose value `parse` reads; `form` shows how the value is written.
template <class T, class Parse>
CLI::Option* addParsed(CLI::App& command, const std::string& name, std::optional<T>& field,
                       Parse parse, const std::string& form, const std::string& description) {
  return command
      .add_option_function<std::string>(
          name,
          [&field, parse, form, name](const std::string& text) {
            field = parse(text);
            if (!field)
              throw CLI::ValidationError(name, "write it as " + form + ", not \"" + text + "\"");
          },
          description)
      ->type_name(form);
}

/// An option that takes one of these words.
template <class T>
void addChoice(CLI::App& command, const std::string& name, std::optional<T>& field,
               const std::vector<std::pair<std::string, T>>& choices,
               const std::string& description) {
  std::string form;
  for (const auto& [word, value] : choices) form += (form.empty() ? "" : "|") + word;
  addParsed(
      command, name, field,
      [choices](const std::string& text) -> std::optional<T> {
        for (const auto& [word, value] : choices)
          if (word == text) return value;
        return std::nullopt;
      },
      form, description);
}

void addLimit(CLI::App& command, std::chrono::milliseconds& limit) {
  command
      .add_option_function<double>(
          "--limit",
          [&limit](double seconds) {
            if (!(seconds > 0 && seconds <= 86400))
              throw CLI::ValidationError("--limit", "it is above 0 and at most 86400 seconds");
            limit = std::chrono::milliseconds(static_cast<std::int64_t>(std::ceil(seconds * 1000)));
          },
          "How long the device may take to settle after a step [30]")
      ->type_name("SECONDS");
}

void addRun(CLI::App& app, Action& action) {
  auto options = std::make_shared<RunOptions>();
  auto& command = *app.add_subcommand("run", "Play a device script and print what it shows");
  command.add_option("SCRIPT", options->script, "A JSON file, or - for standard input")
      ->type_name("")
      ->required();
  addLimit(command, options->limit);
  command.footer(
      "Each event is one JSON object on one line of standard output.\n"
      "Exit status: 0 played to the end; 1 a step could not be played (the last line says\n"
      "why); 2 the file is no script, and nothing was played.\n\n"
      "Examples:\n"
      "  vecamera run flow.json\n"
      "  vecamera run flow.json | jq 'select(.event == \"answer\")'\n"
      "  generate-flow | vecamera run -\n");
  onCalled(command, action, [options] { return run(*options); });
}

void addTest(CLI::App& app, Action& action) {
  auto options = std::make_shared<TestOptions>();
  auto& command =
      *app.add_subcommand("test", "Play flows and compare what they show with what is expected");
  command
      .add_option("FLOW", options->flows,
                  "Device scripts, or folders: every *.json in them that has steps")
      ->type_name("")
      ->required();
  command.add_flag("--update", options->update, "Write the expectations, where they differ");
  command.add_option("--junit", options->junit, "Also write the results there, as JUnit XML")
      ->type_name("FILE");
  command
      .add_option("--distance", options->distance,
                  "How many of the 64 bits of a picture's perceptual hash may differ [6]")
      ->type_name("N")
      ->check(CLI::Range(0, 64).description(""));
  addLimit(command, options->limit);
  command.footer(
      "The expectation of flow.json is flow.expected: the steps, and below each its events, as\n"
      "\"vecamera run\" prints them. Write it once with --update, read it, and keep it beside the\n"
      "script. Pictures are compared by format, size, orientation and by how they look.\n"
      "Exit status: 0 all flows show what is expected; 1 something differs, or an expectation is\n"
      "missing; 2 a file is broken, or wrong usage.\n\n"
      "Examples:\n"
      "  vecamera test --update flow.json\n"
      "  vecamera test flow.json\n"
      "  vecamera test flows --junit results.xml\n");
  onCalled(command, action, [options] { return test(*options); });
}

void addTake(CLI::App& app, Action& action) {
  using enum DestinationType;
  using enum EncodingType;
  using enum MediaType;
  using Source = UIImagePickerControllerSourceType;
  auto options = std::make_shared<TakeOptions>();
  auto& command =
      *app.add_subcommand("take", "Take one picture or movie and print the command's answer");
  command
      .add_option("FILE", options->photo,
                  "The picture or movie that the camera takes, or that stands in the library")
      ->type_name("")
      ->required();
  command.add_option("--quality", options->quality, "JPEG quality [50]")->type_name("N");
  addChoice(command, "--destination", options->destination,
            {{"data-url", destinationTypeDataUrl},
             {"file-uri", destinationTypeFileUri},
             {"native-uri", destinationTypeNativeUri}},
            "The form of the result [native-uri]");
  addChoice(command, "--source", options->source,
            {{"camera", Source::camera},
             {"photo-library", Source::photoLibrary},
             {"saved-photos", Source::savedPhotosAlbum}},
            "Where the picture comes from [camera]");
  addParsed(command, "--size", options->size, parseSize, "WIDTHxHEIGHT",
            "Make it fit into this size");
  addChoice(command, "--encoding", options->encoding,
            {{"jpeg", encodingTypeJPEG}, {"png", encodingTypePNG}}, "The form of the bytes [jpeg]");
  addChoice(command, "--media", options->media,
            {{"picture", mediaTypePicture}, {"video", mediaTypeVideo}, {"all", mediaTypeAll}},
            "What may be taken or picked [picture]");
  addParsed(command, "--edit", options->edit, parseCrop, "X,Y,WIDTH,HEIGHT",
            "Offer the edit step and crop there, in pixels of the upright picture");
  command.add_flag("--correct-orientation", options->correctOrientation,
                   "Rotate the picture upright");
  command.add_flag("--save", options->save, "Also save it to the photo album");
  command.add_flag("--front", options->front, "Use the front camera");
  addParsed(command, "--location", options->location, parseFix, "LAT,LON[,ALT]",
            "Where the device is; the picture gets GPS metadata");
  command.add_option("--home", options->home, "Keep the device (library, temporary files) there")
      ->type_name("DIR");
  command.add_option("--output", options->output, "Write the resulting picture or movie there")
      ->type_name("FILE");
  addLimit(command, options->limit);
  command.footer(
      "The device says yes to every permission. What is left out is left out of the page's\n"
      "command, so that the module's own default [in brackets] applies. The module takes the\n"
      "quality of a photo from the camera in whole steps: below 100 it is the lowest.\n"
      "Exit status: 0 success; 1 the command was answered with an error, or not at all; 2 wrong\n"
      "usage.\n\n"
      "Examples:\n"
      "  vecamera take beach.jpg --size 640x480 --destination file-uri --output small.jpg\n"
      "  vecamera take beach.jpg --destination data-url --encoding png\n"
      "  vecamera take clip.webm --media video --destination file-uri --output clip.mp4\n"
      "  vecamera take beach.jpg --location 48.85,2.35,35 --destination file-uri --home phone\n");
  onCalled(command, action, [options] { return take(*options); });
}

struct LibraryOptions {
  std::filesystem::path home;
  std::vector<std::filesystem::path> files;
  bool json = false;
  LibraryExport exported;
  bool yes = false;
};

void addLibrary(CLI::App& app, Action& action) {
  auto options = std::make_shared<LibraryOptions>();
  auto& command = *app.add_subcommand("library", "Look after the photo library of a home");
  command.require_subcommand(1);
  command.add_option("--home", options->home, "The folder that keeps the device")
      ->type_name("DIR")
      ->required();
  command.footer(
      "Examples:\n"
      "  vecamera library add holiday/*.jpg --home phone\n"
      "  vecamera library list --home phone\n"
      "  vecamera library export --to copies --home phone\n");

  auto& add = *command.add_subcommand("add", "Add pictures and movies and print their identifiers");
  add.add_option("FILE", options->files,
                 device::imaging::formatNames(" or ") + " pictures; " +
                     device::media::movieFormatNames(" or ") + " movies")
      ->type_name("")
      ->required();
  add.footer("Example:\n  vecamera library add holiday/*.jpg --home phone\n");
  onCalled(add, action, [options] { return addToLibrary(options->home, options->files); });

  auto& list = *command.add_subcommand("list", "List what is there, in the order of creation");
  list.add_flag("--json", options->json, "One JSON object a line");
  list.footer("Example:\n  vecamera library list --json --home phone | jq -r .id\n");
  onCalled(list, action, [options] {
    return listLibrary(options->home, options->json ? ListForm::jsonLines : ListForm::table);
  });

  auto& copy = *command.add_subcommand("export", "Copy assets out and print the files' names");
  copy.add_option("ID", options->exported.identifiers, "Identifiers as listed [all]")
      ->type_name("");
  copy.add_option("--to", options->exported.folder, "The folder for the files")
      ->type_name("DIR")
      ->required();
  copy.add_flag("--force", options->exported.force, "Replace files of the same name");
  copy.footer("Example:\n  vecamera library export --to copies --home phone\n");
  onCalled(copy, action, [options] { return exportLibrary(options->home, options->exported); });

  auto& clear = *command.add_subcommand("clear", "Remove every asset");
  clear.add_flag("--yes", options->yes, "Do not ask");
  clear.footer("Example:\n  vecamera library clear --yes --home phone\n");
  onCalled(clear, action, [options] {
    return clearLibrary(options->home, options->yes ? Confirmation::given : Confirmation::ask);
  });
  // The home may stand behind the inner command too.
  for (auto* inner : {&add, &list, &copy, &clear}) inner->fallthrough();
}

void addDemo(CLI::App& app, Action& action) {
  auto folder = std::make_shared<std::optional<std::filesystem::path>>();
  auto& command = *app.add_subcommand("demo", "Take a first picture and explain what happens");
  command.add_option("DIR", *folder, "Where the pictures go [a fresh temporary folder]")
      ->type_name("");
  command.footer("Example:\n  vecamera demo first-steps\n");
  onCalled(command, action, [folder] { return demo(*folder); });
}

void addScene(CLI::App& app, Action& action) {
  auto options = std::make_shared<SceneOptions>();
  auto& command = *app.add_subcommand("scene", "Write a photograph or movie to try things with");
  command.add_option("FILE", options->file, "The JPEG file to write, or the .mp4 or .mov file")
      ->type_name("")
      ->required();
  auto size = std::make_shared<std::optional<CGSize>>();
  addParsed(command, "--size", *size, parseSize, "WIDTHxHEIGHT", "In pixels, as seen [1600x1200]");
  command.add_option("--orientation", options->orientation, "How the camera was held (Exif) [1]")
      ->type_name("1..8")
      ->check(CLI::Range(1, 8).description(""));
  auto seconds = std::make_shared<double>(0);
  auto* length =
      command.add_option("--seconds", *seconds, "Write a movie of that length, with a tone")
          ->type_name("N")
          ->check(CLI::Range(0.1, 3600.0).description(""));
  command.footer(
      "The same call always writes the same picture.\n\n"
      "Examples:\n"
      "  vecamera scene upside-down.jpg --size 800x600 --orientation 3\n"
      "  vecamera scene clip.mov --seconds 5 --size 480x640 --orientation 6\n");
  onCalled(command, action, [options, size, seconds, length] {
    if (length->count() > 0) options->seconds = *seconds;
    if (*size) options->size = **size;
    return writeScene(*options);
  });
}

void addServe(CLI::App& app, Action& action) {
  auto options = std::make_shared<ServeOptions>();
  auto& command = *app.add_subcommand("serve", "Show a phone in the browser, with your page in it");
  command
      .add_option("--app", options->app,
                  "The folder with your index.html, or the address of your dev server [a demo app]")
      ->type_name("DIR|URL");
  command.add_flag("--spa", options->isSinglePage,
                   "Show the folder's index.html for unknown addresses");
  command.add_flag("--allow-remote-app", options->allowsRemoteApp,
                   "Let the app's server be on another machine");
  command
      .add_option("--user-agent", options->userAgent,
                  "What the app takes the browser for [what it is]")
      ->type_name("TEXT");
  command.add_option("--home", options->home, "Keep the photo library there [a fresh one each]")
      ->type_name("DIR");
  command.add_option("--port", options->port, "The port to listen on [7552 if free]")
      ->type_name("N");
  command.add_option("--app-port", options->appPort, "The port of the app's origin [7553 if free]")
      ->type_name("N");
  command.add_flag("--open", options->opensBrowser, "Open the browser");
  command.add_flag("--json", options->printsJson, "Print the address as JSON, with its ports");
  command.add_option("--record", options->record, "Keep a device script of what was done there")
      ->type_name("FILE");
  command.add_option("--device", options->device, "Begin with the device part of this script")
      ->type_name("FILE");
  command.footer(
      "The address is printed as soon as browsers can come; Ctrl-C ends it. Only this machine is\n"
      "served.\n\n"
      "Examples:\n"
      "  vecamera serve --open\n"
      "  vecamera serve --app http://localhost:5173\n"
      "  vecamera serve --app www --record flow.json\n");
  onCalled(command, action, [options] { return serve(*options); });
}

void addCompletion(CLI::App& app, Action& action) {
  auto shell = std::make_shared<std::string>();
  auto& command = *app.add_subcommand("completion", "Print the completions for a shell");
  command.add_option("SHELL", *shell, "bash or zsh")
      ->type_name("")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}));
  command.footer(
      "Examples:\n"
      "  source <(vecamera completion bash)\n"
      "  vecamera completion zsh > ~/.zfunc/_vecamera\n");
  onCalled(command, action, [shell] {
    std::cout << (*shell == "bash" ? bashCompletion : zshCompletion) << std::flush;
    return ExitStatus::success;
  });
}

/// The innermost command that the arguments named.
const CLI::App& innermost(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  return *command;
}

/// "vecamera library add".
std::string fullName(const CLI::App& command) {
  const auto* parent = command.get_parent();
  return (parent ? fullName(*parent) + " " : std::string()) + command.get_name();
}

std::vector<std::string> optionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const auto* option : command.get_options())
    for (const auto& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

std::vector<std::string> commandsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const auto* inner : command.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(inner->get_name());
  return names;
}

std::string unknown(std::string_view what, const std::string& text,
                    const std::vector<std::string>& choices) {
  return device::script::unknownText(what, text,
                                     std::vector<std::string_view>(choices.begin(), choices.end()));
}

/// What is wrong with the arguments. An unexpected argument explains more than one that is missing
/// because of it.
std::string explain(const CLI::App& app, const CLI::ParseError& error) {
  const auto unexpected = app.remaining(true);
  const auto type = error.get_exit_code();
  const bool leftOver = type == static_cast<int>(CLI::ExitCodes::RequiredError) ||
                        type == static_cast<int>(CLI::ExitCodes::ExtrasError);
  if (!leftOver || unexpected.empty()) return error.what();
  const auto& command = innermost(app);
  for (const auto& text : unexpected)
    if (text.size() > 1 && text.front() == '-') return unknown("option", text, optionsOf(command));
  const auto& text = unexpected.front();
  if (const auto inner = commandsOf(command); !inner.empty())
    return unknown("command", text, inner);
  return "nothing is known to do with " + device::script::inQuotes(text);
}

ExitStatus act(int argc, char** argv) {
  CLI::App app{"Take pictures with the camera module on a software device.", "vecamera"};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("vecamera ") + version);
  app.footer(
      "Start here:\n"
      "  vecamera demo                  takes a first picture and explains what happens\n"
      "  vecamera take FILE             one picture or movie, with the options of a page's "
      "command\n"
      "  vecamera run SCRIPT            whole flows: permissions, alerts, faults\n"
      "  vecamera test SCRIPT           the same as a test, with what is expected beside it\n"
      "Each command has its own help: vecamera take --help\n");
  Action action;
  addRun(app, action);
  addTest(app, action);
  addTake(app, action);
  addLibrary(app, action);
  addDemo(app, action);
  addScene(app, action);
  addServe(app, action);
  addCompletion(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    app.exit(success);
    return ExitStatus::success;
  } catch (const CLI::ParseError& error) {
    const auto name = fullName(innermost(app));
    std::cerr << name << ": " << explain(app, error) << "; see " << name << " --help" << std::endl;
    return ExitStatus::usage;
  }
  return action();
}

}  // namespace
}  // namespace vecamera::app

int main(int argc, char** argv) {
  vecamera::app::catchSignals();
  try {
    return static_cast<int>(vecamera::app::act(argc, argv));
  } catch (const std::exception& error) {
    vecamera::app::complain(error.what());
    return static_cast<int>(vecamera::app::ExitStatus::failure);
  }
}
