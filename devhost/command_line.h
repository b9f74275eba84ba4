// Command-line parsing: the host's options, the command and its words, a request's four arguments.
#pragma once

#include <string>
#include <vector>

namespace tolmahost {

// How the host runs, from its options and the environment.
struct HostOptions {
    std::string pluginPath;                   // the libtolma.so.2 file to dlopen
    std::string exportsDirectory;             // what Plg_GetRegistryExportsPath answers
    std::vector<std::string> absentLibraries; // left out of the exports directory
    std::string libusbDirectory;              // put first on the library path; empty: left alone
    std::string worldFile;  // a world to load before Setup; empty: the default world
    bool showLog = true;    // print the log lines the plug-in writes
    bool timestamps = true; // prefix session output with the seconds since start
};

struct CommandLine {
    HostOptions host;
    std::string command;            // empty when --help or no command was given
    std::vector<std::string> words; // the words after the command
    bool help = false;
};

// One request: the resource and the four texts its function receives, and how to show the answer.
struct CallRequest {
    std::string resource;
    std::string options;    // {"method":...}
    std::string parameters; // JSON
    std::string query;      // JSON
    std::string body;       // any text
    bool pretty = false;
};

// Reads argv (host options, then the command and its words) with the environment's defaults.
// Throws a usage HostError on an unknown or incomplete option.
CommandLine parseCommandLine(int argc, char** argv);

// Reads "RESOURCE [--method M] [--options JSON] [--params JSON] [--query JSON] [--body TEXT]
// [--pretty]". With `method` given (the get/put/post/delete shorthands), --method and --options
// are refused. Throws a usage HostError for an unknown resource, an unknown option or JSON that
// does not parse.
CallRequest parseCallWords(std::vector<std::string> const& words, std::string const& method = "");

// A JSON argument: the text itself, or the content of FILE for "@FILE". Throws a usage HostError
// naming `what` when it does not parse, a HostError when the file cannot be read.
std::string jsonArgument(std::string const& what, std::string const& text);

// Seconds for wait commands: a finite, non-negative decimal number up to a day.
double parseSeconds(std::string const& text);

// Everything --help prints.
std::string helpText();

} // namespace tolmahost
