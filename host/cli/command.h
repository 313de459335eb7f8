#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "host/cli/context.h"
#include "host/common/errors.h"

namespace b2drive::cli {

using Command = std::function<ExitCode(Context&)>;

// The command that the arguments chose.
struct Selected {
  std::string name;
  Command command;
};

// Lets `sub` choose `command`. `options` belong to the command and live as long as `sub`.
template <typename Options>
void Choose(CLI::App* sub, Selected& selected, std::shared_ptr<Options> options,
            ExitCode (*command)(Context&, const Options&)) {
  sub->callback([=, &selected, name = sub->get_name()] {
    selected = {name, [=](Context& context) { return command(context, *options); }};
  });
}

// Runs `action` on the numbers from 0 to `count` - 1. A single one's failure is thrown; of several,
// each failure is printed, the rest still runs, and the result is kPartly. An interruption ends
// all.
ExitCode ForEach(const std::string& command, std::size_t count,
                 const std::function<void(std::size_t)>& action);

// The service refuses requests for buckets without a reason that reaches the host, so the likely
// one is added to a refusal that has no code of its own.
void CallForBucket(const std::string& path, const char* likely_reason,
                   const std::function<void()>& call);

}  // namespace b2drive::cli
