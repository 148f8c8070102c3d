#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>

#include "host/Prompt.h"
#include "host/Session.h"

namespace {

using trovix::host::Line;
using trovix::host::Options;
using trovix::host::Session;

constexpr int badUsage = 2;

int refuse(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  return badUsage;
}

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string text;
  char bytes[4096];
  do {
    file.read(bytes, sizeof bytes);
    text.append(bytes, static_cast<std::size_t>(file.gcount()));
  } while (file);
  if (file.bad()) return std::nullopt;  // a directory opens, but cannot be read
  return text;
}

int runScript(const Options& options, const std::string& path) {
  const auto text = readFile(path);
  if (!text) return refuse("cannot read " + path);
  auto script = trovix::host::parseScript(*text);
  if (const auto* why = std::get_if<std::string>(&script)) return refuse(*why);
  Session session(options);
  for (const Line& line : std::get<std::vector<Line>>(script)) session.run(line);
  session.finish();
}

int runInteractively(const Options& options, bool prompt) {
  Session session(options);
  if (prompt) {
    trovix::host::runPrompt(session);
  } else {
    trovix::host::runStandardInput(session);
  }
  session.finish();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("A host application of the Trovix SDK and the Quorrel agent, driven by a script");
  Options options;
  std::string script, profilePath;
  app.add_option("SCRIPT", script, "commands, one a line; - reads standard input");
  app.add_option("--dev-key", options.devKey, "developer key");
  app.add_option("--app-id", options.appId, "App Store identifier");
  app.add_option("--host", options.host, "server domain");
  app.add_option("--host-prefix", options.hostPrefix, "what goes before every subdomain");
  app.add_option("--connect", options.connectTo, "ADDRESS:PORT for every HTTPS connection");
  app.add_option("--ca", options.certificateAuthorityFile, "trusted certificate authorities (PEM)");
  app.add_option("--data-dir", options.dataDirectory, "everything that persists");
  app.add_option("--device", profilePath, "device profile (JSON)");
  app.add_option("--time-offset", options.timeOffset, "seconds added to the wall clock");
  app.add_flag("--print-cached", options.printCached, "print a line for every cached request");
  app.add_flag("--debug", options.debug, "debug log");
  app.add_flag("--trace", options.trace, "trace log");
  app.add_flag("--stand-in", options.standIn, "use the built-in stand-in server");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : badUsage;
  }
  if (options.connectTo.empty() && !options.host) options.standIn = true;
  if (!profilePath.empty()) {
    auto profile = trovix::platform::LinuxPlatform::readDeviceProfile(profilePath);
    if (!profile) return refuse(profilePath + ": " + profile.error().localizedDescription());
    options.deviceProfile = std::move(profile).value();
  }
  const bool isPrompt = script.empty() && isatty(STDIN_FILENO) != 0;
  return script.empty() || script == "-" ? runInteractively(options, isPrompt) : runScript(options, script);
}
