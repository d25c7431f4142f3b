#pragma once

// What the command lines of the tools for geometry files have in common: help with examples and a version.

#include "kcore/core/platform/process.h"
#include "tools/kmg/file_bytes.h"

#include <CLI/CLI.hpp>

namespace kestrel {

// Options without the list of those they cannot stand with.
class plain_help_t final : public CLI::Formatter {
  public:
    std::string make_option_opts(const CLI::Option *option) const override {
        const std::string &type = option->get_type_name();
        return option->get_positional() || type.empty() || option->get_expected() == 0 ? "" : " " + type;
    }
};

class command_line_t : public CLI::App {
  public:
    command_line_t(const std::string &name, const std::string &description, const std::string &examples)
        : CLI::App(description, name) {
        footer(examples);
        formatter(std::make_shared<plain_help_t>());
        set_version_flag("--version", name + " " KIM2KMG_VERSION);
        allow_windows_style_options(false); // a path in the tree begins with "/"
    }
    // The exit status when there is nothing to do but to leave with it.
    std::optional<int> parse(int argument_count, char **texts) {
        const std::span<char *const> arguments = program_arguments(argument_count, texts);
        try {
            CLI::App::parse(static_cast<int>(arguments.size()), arguments.data());
            return std::nullopt;
        } catch (const CLI::ParseError &error) {
            return exit(error) == 0 ? status_good : status_unreadable;
        }
    }
};

} // namespace kestrel
