#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "emulator/seed_folder.h"
#include "emulator/seeding.h"

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

struct Arguments {
  emulator::Options options;
  int64_t latency_ms = 0;
  std::string link;
  int64_t token_life_s = 86400;
  bool no_request_log = false;
  std::vector<std::string> buckets;
  std::vector<std::string> seeds;
  std::vector<std::string> seed_folders;
};

void DeclareReplay(CLI::App& app, Arguments& arguments) {
  CLI::App* const replay = app.add_subcommand(
      "replay", "Answer with what --record has written; fail unless just that is asked");
  replay->add_option("FILE", arguments.options.replay, "What --record has written")->required();
  replay->fallthrough();
}

// What is recorded has an account's content of its own.
void CheckReplay(const Arguments& arguments) {
  const emulator::Options& options = arguments.options;
  if (options.replay.empty()) return;
  if (!options.data.empty() || !options.record.empty() || !arguments.buckets.empty() ||
      !arguments.seeds.empty() || !arguments.seed_folders.empty()) {
    throw std::invalid_argument("replay takes no --data, --record, --bucket, --seed or --seed-dir");
  }
}

void Declare(CLI::App& app, Arguments& arguments) {
  emulator::Options& options = arguments.options;
  app.set_version_flag("--version", "b2emulator " B2EMULATOR_VERSION);
  app.option_defaults()->always_capture_default();
  app.add_option("--port", options.port, "Port; 0: any free one");
  app.add_option("--listen", options.listen, "IP address to listen at");
  app.add_flag("--allow-remote", options.allow_remote, "Let --listen be one that others can reach");
  app.add_option("--name", options.names,
                 "A name by which clients reach it directly, for its certificate (repeatable)");
  app.add_option("--account-id", options.account_id, "Account ID, 12 hex digits; empty: made up");
  app.add_option("--key", options.key, "The master key; empty: made up");
  app.add_option("--ca-file", options.ca_file, "Write the CA certificate (PEM) here");
  app.add_option("--ca-key-file", options.ca_key_file, "Keep the CA's key here to use it again");
  app.add_option("--data", options.data,
                 "Keep everything in this folder, made if need be; kills lose nothing");
  app.add_option("--record", options.record,
                 "Write requests and answers to this file, without secrets");
  app.add_option("--latency", arguments.latency_ms, "Added to each request, milliseconds")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--link", arguments.link,
                 "RTT_MS,MB_PER_S[,LOSS_MS/EVERY_MB]: have every connection go over such a link");
  app.add_option("--bucket", arguments.buckets, "Make an empty bucket (repeatable)");
  app.add_option("--seed", arguments.seeds,
                 "BUCKET/PREFIX:COUNT:SIZE[:FOLDERS], SIZE with K, M or G: make COUNT files named "
                 "PREFIX and a number, or one file named PREFIX (repeatable)");
  app.add_option(
      "--seed-dir", arguments.seed_folders,
      "DIR, whose folders become buckets, or BUCKET=DIR: store what is below (repeatable)");
  app.add_option("--recommended-part-size", options.recommended_part_size, "Bytes");
  app.add_option("--minimum-part-size", options.absolute_minimum_part_size, "Bytes");
  app.add_option("--token-life", arguments.token_life_s, "Life of tokens, seconds");
  app.add_option("--proxy-user", options.proxy_user, "Ask proxy requests for this user");
  app.add_option("--proxy-password", options.proxy_password, "The proxy user's password");
  app.add_flag("--no-request-log", arguments.no_request_log, "Count requests, do not keep them");
  DeclareReplay(app, arguments);
}

emulator::Options OptionsOf(const Arguments& arguments) {
  emulator::Options options = arguments.options;
  options.latency = std::chrono::milliseconds(arguments.latency_ms);
  options.link = emulator::ParseLink(arguments.link);
  options.token_life = std::chrono::seconds(arguments.token_life_s);
  options.record_requests = !arguments.no_request_log;
  return options;
}

void Announce(const emulator::Emulator& running) {
  const nlohmann::json line{{"port", running.port()},
                            {"accountId", running.account_id()},
                            {"applicationKey", running.key()},
                            {"caFile", running.ca_file().string()}};
  std::cout << line.dump() << std::endl;
}

// The signals are blocked before any thread exists, so that they wait for sigwait.
sigset_t BlockStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

bool NoneHasCome() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGTERM) == 0 && sigismember(&pending, SIGINT) == 0;
}

// It was stopped before it was ready.
struct Stopped {};

void Fill(const Arguments& arguments, emulator::Store& store) {
  for (const std::string& name : arguments.buckets) emulator::EnsureBucket(store, name);
  for (const std::string& text : arguments.seeds) {
    const auto plant = [&] {
      return emulator::Plant(store, emulator::ParseSeed(text), NoneHasCome);
    };
    if (!store.Once("seed " + text, plant)) throw Stopped{};
  }
  for (const std::string& text : arguments.seed_folders) {
    const auto plant = [&] {
      return emulator::Plant(store, emulator::ParseSeedFolder(text), NoneHasCome);
    };
    if (!store.Once("seed-dir " + text, plant)) throw Stopped{};
  }
}

// On one line, whatever is in a file or in a name.
void Say(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 32 || c == 127; }, '?');
  std::cerr << "b2emulator: " << text << "\n";
}

// Whether all has gone as recorded; says what has not.
bool WentAsRecorded(const emulator::Emulator& running) {
  const std::vector<std::string> complaints = running.ReplayComplaints();
  for (const std::string& complaint : complaints) {
    Say("replay: " + complaint);
  }
  return complaints.empty();
}

int Run(const Arguments& arguments) {
  CheckReplay(arguments);
  for (const std::string& text : arguments.seeds) emulator::ParseSeed(text);  // or it throws
  const sigset_t signals = BlockStopSignals();
  const emulator::Emulator running(OptionsOf(arguments),
                                   [&](emulator::Store& store) { Fill(arguments, store); });
  Announce(running);
  int signal = 0;
  sigwait(&signals, &signal);
  return WentAsRecorded(running) ? 0 : kFailure;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("A stand-in for the storage service, for testing and measurement.", "b2emulator");
  Arguments arguments;
  Declare(app, arguments);
  try {
    app.parse(argc, argv);
    return Run(arguments);
  } catch (const Stopped&) {
    return 0;
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::Error& error) {
    Say(error.what());
    return kWrongUsage;
  } catch (const std::invalid_argument& error) {
    Say(error.what());
    return kWrongUsage;
  } catch (const std::exception& error) {
    Say(error.what());
    return kFailure;
  }
}
