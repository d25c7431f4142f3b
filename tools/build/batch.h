#pragma once

// Several models for one process of the converter, and whose of them each line is that it writes.
//
// The converter converts its names in order and writes errors and warnings as they come, many of which name
// no model. So that none is ever taken for another model's, a mark stands after each model on the command
// line: a name that is no model's, which the converter refuses with one line of its own and without touching
// anything. A model's lines are those up to its mark, and a model whose mark has been seen is finished. The
// mark is different in every process, so that no text from a model can be taken for it. Each mark adds 1 to
// the exit status, which is the number of names that failed.
//
// Lines of information come on a stream of their own, later than the errors, and all name their model.

#include "tools/build/model_options.h"
#include "tools/build/platform/processes.h"
#include "tools/build/tree_paths.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// What the converter takes on its command line, the program's name and the NULs included.
inline constexpr size_t most_arguments = 128;
inline constexpr size_t most_argument_bytes = 2048;

// How many of the models, from the first on, one command can take; 0 when even the first is too long.
class batch_limits_t {
  public:
    batch_limits_t(const tree_paths_t &paths, const model_options_t &options);
    // Whether one more still fits, and if so takes it.
    bool take(std::string_view model);

  private:
    size_t arguments_;
    size_t bytes_;
};

class batch_t {
  public:
    // The models have passed batch_limits_t.
    batch_t(const tree_paths_t &paths, const model_options_t &options, std::vector<std::string> models);

    const command_t &command() const { return command_; }
    const std::vector<std::string> &models() const { return models_; }

    // What the process wrote, piece by piece; calls `on_finished` with the number of each model whose mark
    // has come.
    void written(stream_t stream, std::string_view text, const std::function<void(size_t)> &on_finished);
    // The number of models whose mark has come.
    size_t finished() const { return finished_; }
    // How many failed, by the exit status of a process that came to its end.
    size_t failures(int exit_status) const {
        return exit_status < static_cast<int>(models_.size())
                   ? 0
                   : static_cast<size_t>(exit_status) - models_.size();
    }

    // What was written about a model, line ends included.
    struct messages_t {
        std::string errors; // and warnings
        std::string information;
    };
    // All of them, once the process has ended.
    std::vector<messages_t> take_messages();

  private:
    void take_line(std::string_view line, const std::function<void(size_t)> &on_finished);
    size_t model_of_information(std::string_view line, size_t current) const;

    const tree_paths_t &paths_;
    command_t command_;
    std::vector<std::string> models_;
    std::vector<messages_t> messages_; // one more than models: what comes after the last mark
    std::string mark_line_;
    std::string rest_; // of the errors, not yet a line
    std::string information_;
    size_t finished_ = 0;
};

// The text of the first error in a model's messages, without its prefix and line end; empty when there is
// none.
std::string first_error(std::string_view errors);

} // namespace kestrel
