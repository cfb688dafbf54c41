#include "commandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <new>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "casefile/error.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "progress.h"
#include "systemCalls.h"

namespace casefile::program {
namespace {

const std::map<std::string, Encoder> kEncoders = {{"auto", Encoder::automatic},
                                                  {"zlib", Encoder::zlib},
                                                  {"libdeflate", Encoder::libdeflate},
                                                  {"isal", Encoder::isal},
                                                  {"fast", Encoder::fast}};

const std::map<std::string, Holes> kHoles = {{"stop", Holes::stop}, {"skip", Holes::skip}, {"zero", Holes::zero}};

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

constexpr std::string_view kSuffix = ".case";
constexpr char kAll[] = "pack append unpack cat info verify recover";
constexpr char kThreads[] = "-j,--threads,--jobs";
constexpr char kOutput[] = "-o,--output,OUTPUT";
constexpr char kThreadsHelp[] = "Threads to work on (as many as the process may use when nothing is said)";

// Returns: a file's name without the suffix of compressed files; empty when it has none, or is nothing else.
std::string withoutSuffix(const std::string& name) {
  const std::size_t length = name.size() - std::min(name.size(), kSuffix.size());
  const bool isWholeName =
      length == 0 ||
      std::string_view(datasource::platform::nameSeparators).find(name[length - 1]) != std::string_view::npos;
  return isWholeName || name.substr(length) != kSuffix ? std::string() : name.substr(0, length);
}

// Where several names may stand the parser takes one in square brackets for a list of names, but not when a zero
// stands behind it, which is in no name.
void guardNames(std::vector<std::string>& arguments) {
  for (std::string& word : arguments) {
    if ((arguments.front() == "info" || arguments.front() == "verify") && word.starts_with('[') &&
        word.ends_with(']')) {
      word.push_back('\0');
    }
  }
}

CLI::Validator unguarded() {
  return CLI::Validator(
      [](std::string& name) {
        if (name.ends_with('\0')) {
          name.pop_back();
        }
        return std::string();
      },
      "");
}

struct Row;

// Adds an option to a command: what it takes, and what of the structure it sets.
using Adding = std::function<CLI::Option*(CLI::App& command, const Row& row, Options& options)>;

// One option, or one name without an option in front, of one or more commands.
struct Row {
  const char* commands;
  const char* names;
  const char* type;  // what help calls the option's word; empty: nothing
  const char* help;
  Adding add;
  const char* excluded = "";  // options from rows above that cannot stand beside it
};

// Takes what a variable holds, if it fits.
template <typename Value>
Adding value(Value Options::*member, const CLI::Validator& fits) {
  return [member, fits](CLI::App& command, const Row& row, Options& options) {
    return command.add_option(row.names, options.*member, row.help)->transform(fits);
  };
}

Adding number(std::optional<int64> Options::*member) { return value(member, within(0, INT64_MAX)); }
Adding text(std::string Options::*member) { return value(member, CLI::Validator("")); }

Adding threads(int least) {
  constexpr int kMostThreads = 1024;
  return [least](CLI::App& command, const Row& row, Options& options) {
    const auto set = [&options](std::size_t said) { options.threads = std::max<std::size_t>(1, said); };
    return command.add_option_function<std::size_t>(row.names, set, row.help)->transform(within(least, kMostThreads));
  };
}

Adding required(const Adding& add) {
  return [add](CLI::App& command, const Row& row, Options& options) { return add(command, row, options)->required(); };
}

Adding flag(bool Options::*member, bool value = true) {
  return [member, value](CLI::App& command, const Row& row, Options& options) {
    const auto set = [&options, member, value] { options.*member = value; };
    return command.add_flag_callback(row.names, set, row.help);
  };
}

Adding action(void (*act)()) {
  return [act](CLI::App& command, const Row& row, Options& /*options*/) {
    return command.add_flag_callback(row.names, act, row.help);
  };
}

// Takes one of several names; `refusal` is said of any other one.
template <typename Value>
Adding choice(Value Options::*member, const std::map<std::string, Value>& values, const char* refusal) {
  return [member, &values, refusal](CLI::App& command, const Row& row, Options& options) {
    const auto set = [&values, &options, member](const std::string& name) { options.*member = values.at(name); };
    const auto check = [&values, refusal](const std::string& name) {
      return values.contains(name) ? std::string() : name + refusal;
    };
    return command.add_option_function<std::string>(row.names, set, row.help)->check(CLI::Validator(check, ""));
  };
}

// The options, in the order in which help tells of them.
const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {kAll, "--progress", "", "Show progress, terminal or not",
       action([] { Progress::show(Progress::When::always); })},
      {kAll, "--no-progress", "", "Show no progress", action([] { Progress::show(Progress::When::never); }),
       "--progress"},
      {kAll, "-q,--quiet", "", "Say only what is wrong, and show no progress", action([] { setTalk(Talk::quiet); }),
       "--progress"},
      {kAll, "-v,--verbose", "", "Say what is found and done on the way too", action([] { setTalk(Talk::verbose); }),
       "--quiet"},
      {"pack", "--row0", "N", "The dictionary part: the first N bytes", number(&Options::row0)},
      {"append unpack cat info verify recover", "--row0", "N",
       "Row-0 position: where the dictionary part ends (else it is found)", number(&Options::row0)},
      {"unpack cat info verify", "--swap", "", "The file has the other byte order than this machine",
       flag(&Options::swap)},
      {"pack", "--header-lines", "K", "The dictionary part: the first K lines (1 when nothing is said)",
       number(&Options::headerLines), "--row0"},
      {"append", "--header-lines", "K", "Leave out the first K lines of INPUT, which must be the dictionary part",
       number(&Options::headerLines)},
      {"pack", "--dictionary", "FILE", "The dictionary part: this file, put in front of INPUT",
       value(&Options::dictionary, notEmpty()), "--row0 --header-lines"},
      {"cat", "--from", "POS", "First logical position (that of the case data when nothing is said)",
       number(&Options::from)},
      {"cat", "--dictionary", "", "Begin with the dictionary part", flag(&Options::withDictionary), "--from"},
      {"cat", "--bytes", "N", "How many bytes (to the end when nothing is said)", number(&Options::bytes)},
      {"info", "--blocks", "", "A row for each block", flag(&Options::blocks)},
      {"info", "--json", "", "As JSON, for programs", flag(&Options::json)},
      {"recover", "--holes", "HOW",
       "Sound blocks behind damage: stop leaves them out (as when nothing is said), skip puts them next to "
       "those before, zero keeps their places and fills in zeros",
       choice(&Options::holes, kHoles, " is none of stop, skip and zero")},
      {"recover", "--partial", "", "Write plain data, up to the first damage in a block", flag(&Options::partial),
       "--holes"},
      {"pack append unpack cat", kThreads, "N", kThreadsHelp, threads(0)},
      {"verify recover", kThreads, "N", kThreadsHelp, threads(1)},
      {"pack append", "--encoder", "NAME",
       "What compresses: zlib, libdeflate, isal, fast, or auto for the fastest that is built in (auto)",
       choice(&Options::encoder, kEncoders, " is no encoder: auto, zlib, libdeflate, isal or fast")},
      {"pack unpack recover", "-f,--force", "", "Replace OUTPUT if it is there", flag(&Options::force)},
      {"pack unpack recover", "--no-sync", "", "Do not wait until OUTPUT is on the disk", flag(&Options::sync, false)},
      {"pack unpack", "--no-preserve", "", "Do not give OUTPUT the access rights and times of INPUT",
       flag(&Options::preserve, false)},
      {"pack", "INPUT", "", "Uncompressed file, - for standard input", required(text(&Options::input))},
      {"unpack", "INPUT", "", "Compressed file", required(text(&Options::input))},
      {"recover", "INPUT", "", "Damaged file; it is not changed", required(text(&Options::input))},
      {"append", "FILE", "", "Compressed file to extend", required(text(&Options::file))},
      {"append", "INPUT", "", "Case data; without it, or with -, standard input", text(&Options::input)},
      {"cat", "FILE", "", "Compressed file", required(text(&Options::file))},
      {"info verify", "FILE", "", "Compressed files", required(value(&Options::files, unguarded()))},
      {"pack", kOutput, "FILE", "Compressed file to make", required(text(&Options::output))},
      {"unpack", kOutput, "FILE",
       "Uncompressed file to make, - for standard output (INPUT without .case when nothing is said)",
       text(&Options::output)},
      {"recover", kOutput, "FILE", "File to make: compressed, or with --partial plain",
       required(text(&Options::output))},
  };
  return all;
}

// One command, and the file to name in messages that name none.
struct Command {
  const char* name;
  int (*run)(const Options&);
  std::string Options::*about;
  const char* what;
  const char* example;
};

constexpr Command kCommands[] = {
    {"pack", pack, &Options::output, "Make a compressed data file of an uncompressed one",
     "casefile pack --header-lines 1 rows.csv rows.case"},
    {"append", append, &Options::file, "Put more case data behind what is there", "casefile append rows.case more.bin"},
    {"unpack", unpack, &Options::input, "Make the uncompressed file again, byte for byte",
     "casefile unpack rows.case rows.csv"},
    {"cat", cat, &Options::file, "Write case data, or a range of the uncompressed file, to standard output",
     "casefile cat --from 5000000 --bytes 800 rows.case"},
    {"info", info, &Options::file, "Tell what a compressed file holds", "casefile info --blocks rows.case"},
    {"verify", verify, &Options::file, "Check heading, table and every block", "casefile verify -j 2 rows.case"},
    {"recover", recover, &Options::input, "Rebuild heading and table from the blocks alone",
     "casefile recover broken.case rescued.case"},
};

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream words(text);
  return {std::istream_iterator<std::string>(words), {}};
}

// Functions of the parser that may not throw ask for memory: where there is none the program ends there, and says so as
// it does elsewhere.
class EndWithoutMemory {
 public:
  EndWithoutMemory() noexcept : before_(std::set_terminate(end)) {}
  ~EndWithoutMemory() { std::set_terminate(before_); }
  EndWithoutMemory(const EndWithoutMemory&) = delete;
  EndWithoutMemory& operator=(const EndWithoutMemory&) = delete;

 private:
  [[noreturn]] static void end() noexcept {
    try {
      if (const auto error = std::current_exception()) {
        std::rethrow_exception(error);
      }
    } catch (const std::bad_alloc&) {
      sayNoMemory("");
      std::_Exit(kFailed);
    } catch (...) {
      std::abort();
    }
    std::abort();
  }

  std::terminate_handler before_;
};

// One command line: CLI11's description of it and the structure that it fills.
class CommandLine {
 public:
  CommandLine() {
    app_.allow_windows_style_options(false);  // a name may begin with a slash
    app_.require_subcommand(1);
    app_.set_version_flag("-V,--version", "casefile " CASEFILE_VERSION);
    app_.footer("casefile COMMAND --help, or casefile help COMMAND, tells about one command.");
    for (const Command& command : kCommands) {
      addCommand(command);
    }
    CLI::App* const help = app_.add_subcommand("help", "Tell about the program or one command");
    help->footer("Example:\n  casefile help pack");
    help->add_option("COMMAND", helpAbout_, "Which")->type_name("");
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
    if (command_ == nullptr) {
      return printHelp();
    }
    if (const std::string wrong = completeNames(); !wrong.empty()) {
      return refuse(wrong);
    }
    return {[run = command_->run, options = options_] { return run(options); }, options_.*command_->about, kDone};
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
    const auto commands =
        app_.get_subcommands([this](const CLI::App* command) { return command->get_name() == helpAbout_; });
    const CLI::App* const about = commands.empty() ? nullptr : commands.front();
    if (!helpAbout_.empty() && about == nullptr) {
      return refuse("unknown command: " + helpAbout_);
    }
    std::cout << (about == nullptr ? programHelp_ : about->help(app_.get_name()));
    return printed();
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

  // Gives unpack its output's name. Returns: what is wrong with the names; else empty.
  std::string completeNames() {
    if (command_->run == unpack && options_.output.empty()) {
      options_.output = withoutSuffix(options_.input);
      if (options_.output.empty()) {
        return options_.input + " does not end in " + std::string(kSuffix) + ": say which OUTPUT to make";
      }
    }
    if (command_->run != unpack && options_.output == "-") {
      return "OUTPUT cannot be standard output here";
    }
    if (options_.dictionary == "-" && options_.input == "-") {
      return "the dictionary part and INPUT cannot both be standard input";
    }
    return {};
  }

  Request refuse(const std::string& what) {
    const auto chosen = app_.get_subcommands();
    const std::string command = chosen.empty() ? "casefile" : "casefile " + chosen.front()->get_name();
    std::fprintf(stderr, "casefile: %s\nTry '%s --help'.\n", printable(what).c_str(), command.c_str());
    return {nullptr, "", kRefused};
  }

  void addCommand(const Command& command) {
    CLI::App* const parser = app_.add_subcommand(command.name, command.what);
    parser->footer(std::string("Example:\n  ") + command.example);
    parser->callback([this, &command] { command_ = &command; });
    for (const Row& row : rows()) {
      const auto having = wordsOf(row.commands);
      if (std::find(having.begin(), having.end(), command.name) != having.end()) {
        CLI::Option* const option = row.add(*parser, row, options_)->type_name(row.type);
        for (const std::string& other : wordsOf(row.excluded)) {
          option->excludes(parser->get_option(other));
        }
      }
    }
  }

  CLI::App app_{"See, make, cut, check and rescue compressed data files.", "casefile"};
  Options options_;
  const Command* command_ = nullptr;  // none: help was asked for
  std::string helpAbout_;
  std::string programHelp_;
};

}  // namespace

Request readCommandLine(std::vector<std::string> arguments) {
  const EndWithoutMemory ending;
  return CommandLine().read(std::move(arguments));
}

}  // namespace casefile::program
