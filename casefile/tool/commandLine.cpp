#include "commandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "escaped.h"
#include "failure.h"
#include "fileNames.h"
#include "notes.h"
#include "options.h"
#include "progress.h"

namespace casefile::program {
namespace {

// Takes whole numbers from `least` to `most`, decimal digits only; nothing is cut or rounded. The number is
// handed on without leading zeros, which the parser would take for octal. The help shows the option's own
// words instead.
CLI::Validator within(int64 least, int64 most) {
  return CLI::Validator(
      [least, most](std::string& text) {
        int64 value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        const bool fits = error == std::errc() && end == text.data() + text.size() && value >= least && value <= most;
        if (!fits) {
          return text + " is no whole number from " + std::to_string(least) + " to " + std::to_string(most);
        }
        text = std::to_string(value);
        return std::string();
      },
      "");
}

CLI::Validator notEmpty() {
  return CLI::Validator([](const std::string& text) { return std::string(text.empty() ? "names no file" : ""); }, "");
}

// The names of the encoders.
const std::map<std::string, Encoder> kEncoders = {{"auto", Encoder::automatic},
                                                  {"zlib", Encoder::zlib},
                                                  {"libdeflate", Encoder::libdeflate},
                                                  {"isal", Encoder::isal}};

// What may become of blocks behind damage.
const std::map<std::string, Holes> kHoles = {{"stop", Holes::stop}, {"skip", Holes::skip}, {"zero", Holes::zero}};

CLI::Validator notNegative() { return within(0, INT64_MAX); }

constexpr std::string_view kSuffix = ".case";

// Returns: a file's name without the suffix of compressed files; empty when it has none, or is nothing else.
std::string withoutSuffix(const std::string& name) {
  const std::size_t length = name.size() - std::min(name.size(), kSuffix.size());
  const bool isWholeName =
      length == 0 || std::string_view(files::nameSeparators).find(name[length - 1]) != std::string_view::npos;
  return isWholeName || name.substr(length) != kSuffix ? std::string() : name.substr(0, length);
}

// Where several names may stand the parser takes one in square brackets for a list of names, but not when a zero
// stands behind it, which is in no name.
void guardNames(std::vector<std::string>& arguments) {
  if (arguments.front() != "info" && arguments.front() != "verify") {
    return;
  }
  for (std::string& word : arguments) {
    if (!word.empty() && word.front() == '[' && word.back() == ']') {
      word.push_back('\0');
    }
  }
}

void unguard(std::string& name) {
  if (!name.empty() && name.back() == '\0') {
    name.pop_back();
  }
}

// One command line: CLI11's description of it and the structures that it fills.
class CommandLine {
 public:
  CommandLine() {
    app_.allow_windows_style_options(false);  // a name may begin with a slash
    app_.require_subcommand(1);
    app_.set_version_flag("-V,--version", "casefile " CASEFILE_VERSION);
    app_.footer("casefile COMMAND --help, or casefile help COMMAND, tells about one command.");
    addPack();
    addAppend();
    addUnpack();
    addCat();
    addInfo();
    addVerify();
    addRecover();
    addHelp();
    programHelp_ = app_.help();  // once a command is chosen, this one's
  }

  Request read(std::vector<std::string> arguments) {
    if (arguments.empty()) {
      std::fputs(programHelp_.c_str(), stderr);
      return {nullptr, "", kRefused};
    }
    guardNames(arguments);
    std::reverse(arguments.begin(), arguments.end());
    try {
      app_.parse(std::move(arguments));
    } catch (const CLI::Success& asked) {
      app_.exit(asked, std::cout, std::cerr);
      return printed();
    } catch (const CLI::ParseError& error) {
      return refuse(unknownWord().value_or(error.what()));
    }
    if (help_->parsed()) {
      return printHelp();
    }
    if (app_.got_subcommand("unpack") && unpack_.output.empty()) {
      unpack_.output = withoutSuffix(unpack_.input);
      if (unpack_.output.empty()) {
        return refuse(unpack_.input + " does not end in " + std::string(kSuffix) + ": say which OUTPUT to make");
      }
    }
    for (const std::string* output : outputs_) {
      if (*output == "-") {
        return refuse("OUTPUT cannot be standard output here");
      }
    }
    if (pack_.dictionary == "-" && pack_.input == "-") {
      return refuse("the dictionary part and INPUT cannot both be standard input");
    }
    return std::move(request_);
  }

 private:
  static Request printed() {
    return {[] {
              std::cout.flush();
              requirePrinted();
              return static_cast<int>(kDone);
            },
            "", kDone};
  }

  Request printHelp() {
    const CLI::App* const about = commandCalled(helpAbout_);
    if (!helpAbout_.empty() && about == nullptr) {
      return refuse("unknown command: " + helpAbout_);
    }
    std::cout << (about == nullptr ? programHelp_ : about->help(app_.get_name()));
    return printed();
  }

  // Returns: the command of that name, or null.
  const CLI::App* commandCalled(const std::string& name) const {
    const auto commands =
        app_.get_subcommands([&name](const CLI::App* command) { return command->get_name() == name; });
    return commands.empty() ? nullptr : commands.front();
  }

  // Returns: which of the words that the parser could not place is an option or a command that there is not.
  std::optional<std::string> unknownWord() const {
    const auto words = app_.remaining(true);
    const auto option = std::find_if(words.begin(), words.end(),
                                     [](const std::string& word) { return word.size() > 1 && word.front() == '-'; });
    if (option != words.end()) {
      return "unknown option: " + *option;
    }
    if (app_.get_subcommands().empty() && !words.empty()) {
      return "unknown command: " + words.front();
    }
    return std::nullopt;
  }

  Request refuse(const std::string& what) {
    const auto chosen = app_.get_subcommands();
    const std::string command = chosen.empty() ? "casefile" : "casefile " + chosen.front()->get_name();
    std::fprintf(stderr, "casefile: %s\nTry '%s --help'.\n", escaped(what).c_str(), command.c_str());
    return {nullptr, "", kRefused};
  }

  CLI::App* addCommand(const char* name, const char* what, const char* example) {
    CLI::App* const command = app_.add_subcommand(name, what);
    command->footer(std::string("Example:\n  ") + example);
    auto* const on = command->add_flag_callback(
        "--progress", [] { Progress::show(Progress::When::always); }, "Show progress, terminal or not");
    command
        ->add_flag_callback(
            "--no-progress", [] { Progress::show(Progress::When::never); }, "Show no progress")
        ->excludes(on);
    addTalk(command, on);
    return command;
  }

  static void addTalk(CLI::App* command, CLI::Option* progress) {
    auto* const quiet = command
                            ->add_flag_callback(
                                "-q,--quiet",
                                [] {
                                  setTalk(Talk::quiet);
                                  Progress::show(Progress::When::never);
                                },
                                "Say only what is wrong, and show no progress")
                            ->excludes(progress);
    command
        ->add_flag_callback(
            "-v,--verbose", [] { setTalk(Talk::verbose); }, "Say what is found and done on the way too")
        ->excludes(quiet);
  }

  static const std::string& firstOf(const std::string& file) { return file; }
  static const std::string& firstOf(const std::vector<std::string>& files) { return files.front(); }

  // `files`: one name, or several.
  template <typename Options, typename Files>
  void onParsed(CLI::App* command, int (*run)(const Options&), const Options& options, const Files& files) {
    command->callback([this, run, &options, &files] {
      request_.run = [run, &options] { return run(options); };
      request_.file = firstOf(files);
    });
  }

  static void addPlace(CLI::App* command, PlaceHint& hint, bool withSwap) {
    addRow0(command, hint.row0);
    if (withSwap) {
      command->add_flag("--swap", hint.swap, "The file has the other byte order than this machine");
    }
  }

  static CLI::Option* addRow0(CLI::App* command, std::optional<int64>& row0) {
    return command->add_option("--row0", row0, "Row-0 position: where the dictionary part ends (else it is found)")
        ->type_name("N")
        ->transform(notNegative());
  }

  static void addThreads(CLI::App* command, std::size_t& threads, int least = 0) {
    constexpr int kMostThreads = 1024;
    command
        ->add_option_function<std::size_t>(
            "-j,--threads,--jobs", [&threads](std::size_t said) { threads = std::max<std::size_t>(1, said); },
            "Threads to work on (as many as the process may use when nothing is said)")
        ->type_name("N")
        ->transform(within(least, kMostThreads));
  }

  static void addWriting(CLI::App* command, std::size_t& threads, Encoder& encoder) {
    addThreads(command, threads);
    command
        ->add_option_function<std::string>(
            "--encoder", [&encoder](const std::string& name) { encoder = kEncoders.at(name); },
            "What compresses: zlib, libdeflate, isal, or auto for the fastest that is built in (auto)")
        ->type_name("NAME")
        ->check(CLI::Validator(
            [](const std::string& name) {
              return kEncoders.contains(name) ? std::string() : name + " is no encoder: auto, zlib, libdeflate or isal";
            },
            ""));
  }

  template <typename Options>
  static void addPreserve(CLI::App* command, Options& options) {
    command->add_flag_callback(
        "--no-preserve", [&options] { options.preserve = false; },
        "Do not give OUTPUT the access rights and times of INPUT");
  }

  template <typename Options>
  static void addOutputRules(CLI::App* command, Options& options) {
    command->add_flag("-f,--force", options.force, "Replace OUTPUT if it is there");
    command->add_flag_callback(
        "--no-sync", [&options] { options.sync = false; }, "Do not wait until OUTPUT is on the disk");
  }

  static CLI::Option* addOutput(CLI::App* command, std::string& name, const char* help) {
    return command->add_option("-o,--output,OUTPUT", name, help)->type_name("FILE");
  }

  static void addNames(CLI::App* command, std::vector<std::string>& names) {
    command->add_option("FILE", names, "Compressed files")
        ->required()
        ->type_name("")
        ->transform(CLI::Validator(
            [](std::string& name) {
              unguard(name);
              return std::string();
            },
            ""));
  }

  static void addName(CLI::App* command, const char* what, std::string& name, const char* help) {
    command->add_option(what, name, help)->required()->type_name("");
  }

  void addPack() {
    CLI::App* const command = addCommand("pack", "Make a compressed data file of an uncompressed one",
                                         "casefile pack --header-lines 1 rows.csv rows.case");
    auto* const row0 = command->add_option("--row0", pack_.row0, "The dictionary part: the first N bytes")
                           ->type_name("N")
                           ->transform(notNegative());
    auto* const lines = command
                            ->add_option("--header-lines", pack_.headerLines,
                                         "The dictionary part: the first K lines (1 when nothing is said)")
                            ->type_name("K")
                            ->transform(notNegative())
                            ->excludes(row0);
    command->add_option("--dictionary", pack_.dictionary, "The dictionary part: this file, put in front of INPUT")
        ->type_name("FILE")
        ->check(notEmpty())
        ->excludes(row0)
        ->excludes(lines);
    addWriting(command, pack_.threads, pack_.encoder);
    addOutputRules(command, pack_);
    addPreserve(command, pack_);
    addName(command, "INPUT", pack_.input, "Uncompressed file, - for standard input");
    addOutput(command, pack_.output, "Compressed file to make")->required();
    outputs_.push_back(&pack_.output);
    onParsed(command, pack, pack_, pack_.output);
  }

  void addAppend() {
    CLI::App* const command =
        addCommand("append", "Put more case data behind what is there", "casefile append rows.case more.bin");
    addPlace(command, append_.hint, false);
    command
        ->add_option("--header-lines", append_.headerLines,
                     "Leave out the first K lines of INPUT, which must be the dictionary part")
        ->type_name("K")
        ->transform(notNegative());
    addWriting(command, append_.threads, append_.encoder);
    addName(command, "FILE", append_.file, "Compressed file to extend");
    command->add_option("INPUT", append_.input, "Case data; without it, or with -, standard input")->type_name("");
    onParsed(command, append, append_, append_.file);
  }

  void addUnpack() {
    CLI::App* const command =
        addCommand("unpack", "Make the uncompressed file again, byte for byte", "casefile unpack rows.case rows.csv");
    addPlace(command, unpack_.hint, true);
    addThreads(command, unpack_.threads);
    addOutputRules(command, unpack_);
    addPreserve(command, unpack_);
    addName(command, "INPUT", unpack_.input, "Compressed file");
    addOutput(command, unpack_.output,
              "Uncompressed file to make, - for standard output (INPUT without .case when nothing is said)");
    onParsed(command, unpack, unpack_, unpack_.input);
  }

  void addCat() {
    CLI::App* const command =
        addCommand("cat", "Write case data, or a range of the uncompressed file, to standard output",
                   "casefile cat --from 5000000 --bytes 800 rows.case");
    addPlace(command, cat_.hint, true);
    auto* const from =
        command->add_option("--from", cat_.from, "First logical position (that of the case data when nothing is said)")
            ->type_name("POS")
            ->transform(notNegative());
    command->add_flag("--dictionary", cat_.dictionary, "Begin with the dictionary part")->excludes(from);
    command->add_option("--bytes", cat_.bytes, "How many bytes (to the end when nothing is said)")
        ->type_name("N")
        ->transform(notNegative());
    addThreads(command, cat_.threads);
    addName(command, "FILE", cat_.file, "Compressed file");
    onParsed(command, cat, cat_, cat_.file);
  }

  void addInfo() {
    CLI::App* const command =
        addCommand("info", "Tell what a compressed file holds", "casefile info --blocks rows.case");
    addPlace(command, info_.hint, true);
    command->add_flag("--blocks", info_.blocks, "A row for each block");
    command->add_flag("--json", info_.json, "As JSON, for programs");
    addNames(command, info_.files);
    onParsed(command, info, info_, info_.files);
  }

  void addVerify() {
    CLI::App* const command =
        addCommand("verify", "Check heading, table and every block", "casefile verify -j 2 rows.case");
    addPlace(command, verify_.hint, true);
    addThreads(command, verify_.threads, 1);
    addNames(command, verify_.files);
    onParsed(command, verify, verify_, verify_.files);
  }

  void addRecover() {
    CLI::App* const command = addCommand("recover", "Rebuild heading and table from the blocks alone",
                                         "casefile recover broken.case rescued.case");
    addRow0(command, recover_.row0);
    addHoles(command, recover_);
    addThreads(command, recover_.threads, 1);
    addOutputRules(command, recover_);
    addName(command, "INPUT", recover_.input, "Damaged file; it is not changed");
    addOutput(command, recover_.output, "File to make: compressed, or with --partial plain")->required();
    outputs_.push_back(&recover_.output);
    onParsed(command, recover, recover_, recover_.input);
  }

  static void addHoles(CLI::App* command, RecoverOptions& options) {
    auto* const holes =
        command
            ->add_option_function<std::string>(
                "--holes", [&options](const std::string& name) { options.holes = kHoles.at(name); },
                "Sound blocks behind damage: stop leaves them out (as when nothing is said), skip puts them next to "
                "those before, zero keeps their places and fills in zeros")
            ->type_name("HOW")
            ->check(CLI::Validator(
                [](const std::string& name) {
                  return kHoles.count(name) == 0 ? name + " is none of stop, skip and zero" : std::string();
                },
                ""));
    command->add_flag("--partial", options.partial, "Write plain data, up to the first damage in a block")
        ->excludes(holes);
  }

  void addHelp() {
    help_ = app_.add_subcommand("help", "Tell about the program or one command");
    help_->footer("Example:\n  casefile help pack");
    help_->add_option("COMMAND", helpAbout_, "Which")->type_name("");
  }

  CLI::App app_{"See, make, cut, check and rescue compressed data files.", "casefile"};
  PackOptions pack_;
  AppendOptions append_;
  UnpackOptions unpack_;
  CatOptions cat_;
  InfoOptions info_;
  VerifyOptions verify_;
  RecoverOptions recover_;
  CLI::App* help_ = nullptr;
  std::string helpAbout_;
  std::string programHelp_;
  std::vector<const std::string*> outputs_;  // those that must be files
  Request request_;
};

}  // namespace

Request readCommandLine(std::vector<std::string> arguments) {
  auto commandLine = std::make_shared<CommandLine>();
  Request request = commandLine->read(std::move(arguments));
  if (request.run) {
    request.run = [commandLine, run = std::move(request.run)] { return run(); };
  }
  return request;
}

}  // namespace casefile::program
