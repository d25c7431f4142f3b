#include "tools/build/tree_scan.h"

#include "tools/build/console.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace kestrel {

namespace {

constexpr size_t most_linked_folders = 10000; // links can make a tree of any size out of a few folders

// A folder and those above it, to notice links in circles.
struct ancestry_t {
    folder_id_t id;
    std::shared_ptr<const ancestry_t> above;

    static bool holds(const ancestry_t *start, const folder_id_t &id) {
        for (; start; start = start->above.get())
            if (start->id == id)
                return true;
        return false;
    }
};

struct folder_task_t {
    std::string path; // in the tree, without "/" at its end
    bool in_sources = true;
    bool in_outputs = true;
    bool in_records = true;
    bool may_have_orphans = true; // what stands behind a link may be another model's
    bool through_link = false;    // the source folder is one
    std::shared_ptr<const ancestry_t> above;
};

// Folders still to be looked at, shared by the threads; it ends when none is left and none is in work.
class folder_queue_t {
  public:
    void add(std::vector<folder_task_t> tasks) {
        const std::lock_guard lock(mutex_);
        for (folder_task_t &task : tasks)
            tasks_.push_back(std::move(task));
        changed_.notify_all();
    }
    bool take(folder_task_t &task) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return !tasks_.empty() || in_work_ == 0; });
        if (tasks_.empty())
            return false;
        task = std::move(tasks_.back());
        tasks_.pop_back();
        ++in_work_;
        return true;
    }
    void done() {
        const std::lock_guard lock(mutex_);
        if (--in_work_ == 0)
            changed_.notify_all();
    }
    // False when there have been too many.
    bool count_link() {
        const std::lock_guard lock(mutex_);
        return ++links_ <= most_linked_folders;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<folder_task_t> tasks_;
    size_t in_work_ = 0;
    size_t links_ = 0;
};

// One thread's part of the work and what it found.
class folder_scan_t {
  public:
    folder_scan_t(const tree_paths_t &paths, const scan_request_t &request, folder_queue_t &queue)
        : paths_(paths), request_(request), queue_(queue) {}

    void run() {
        folder_task_t task;
        while (queue_.take(task)) {
            scan(task);
            queue_.done();
        }
    }
    tree_t found;

  private:
    void scan(folder_task_t &task);
    bool list_sources(folder_task_t &task);
    void list_products(const std::string &store, bool listed, folder_task_t &task, file_wish_t wish,
                       folder_listing_t &listing);
    void match_models(const folder_task_t &task);
    void note_orphans(const folder_task_t &task);
    void add_subfolders(const folder_task_t &task);
    // A model, or a product of one.
    bool in_share(const folder_task_t &task, std::string_view name) const {
        return request_.share.of == 1 || request_.share.holds(task.path + "/" + model_of(name));
    }

    const tree_paths_t &paths_;
    const scan_request_t &request_;
    folder_queue_t &queue_;
    folder_listing_t sources_, outputs_, records_; // of the folder at work, kept for their memory
};

// False when the folder is not looked at any further.
bool folder_scan_t::list_sources(folder_task_t &task) {
    sources_.entries.clear();
    if (!task.in_sources)
        return true;
    const std::string folder = paths_.source(task.path);
    if (request_.on_folder)
        request_.on_folder(folder);
    const auto wishes = [&](std::string_view name) {
        return is_model_name(name) && in_share(task, name) ? file_wish_t::stamp : file_wish_t::nothing;
    };
    if (const auto error = list_folder(folder, wishes, sources_)) {
        if (error == std::errc::no_such_file_or_directory)
            return true; // it went while we looked
        found.failures.push_back(printable(folder) + ": " + error.message());
        return false; // what is in it has outputs that are no orphans
    }
    if (task.through_link && ancestry_t::holds(task.above.get(), sources_.id)) {
        found.remarks.push_back(printable(folder) + " is a link to a folder above it and is not followed");
        return false;
    }
    if (task.through_link && !queue_.count_link()) {
        found.failures.push_back(printable(folder) + ": too many links to folders");
        return false;
    }
    task.above = std::make_shared<const ancestry_t>(ancestry_t{sources_.id, std::move(task.above)});
    return true;
}

void folder_scan_t::list_products(const std::string &store, bool listed, folder_task_t &task,
                                  file_wish_t wish, folder_listing_t &listing) {
    listing.entries.clear();
    if (!listed)
        return;
    const auto wishes = [&](std::string_view name) {
        return is_output_name(name) && in_share(task, name) ? wish : file_wish_t::nothing;
    };
    const auto error = list_folder(store + task.path, wishes, listing);
    if (error && error != std::errc::no_such_file_or_directory)
        found.failures.push_back(printable(store + task.path) + ": " + error.message());
}

// The entry of that name in a sorted listing.
const folder_entry_t *find_entry(const std::vector<folder_entry_t> &entries, std::string_view name) {
    const auto at = std::lower_bound(entries.begin(), entries.end(), name,
                                     [](const folder_entry_t &e, std::string_view n) { return e.name < n; });
    return at != entries.end() && at->name == name ? &*at : nullptr;
}

void folder_scan_t::match_models(const folder_task_t &task) {
    for (const folder_entry_t &source : sources_.entries) {
        if (source.is_folder)
            continue;
        model_t model{task.path + "/" + source.name, source.stamp, {}, {}};
        const std::string output = output_of(source.name);
        if (const auto *entry = find_entry(outputs_.entries, output))
            model.output = {true, entry->stamp};
        if (const auto *entry = find_entry(records_.entries, output))
            model.record = entry->stamp;
        found.models.push_back(std::move(model));
    }
}

void folder_scan_t::note_orphans(const folder_task_t &task) {
    const auto note = [&](const folder_entry_t &product) {
        if (!product.is_folder && !find_entry(sources_.entries, model_of(product.name)))
            found.orphans.push_back(task.path + "/" + product.name);
    };
    for (const folder_entry_t &output : outputs_.entries)
        note(output);
    for (const folder_entry_t &record : records_.entries)
        if (!find_entry(outputs_.entries, record.name))
            note(record);
}

void folder_scan_t::add_subfolders(const folder_task_t &task) {
    std::map<std::string_view, folder_task_t> folders;
    const auto folder = [&](const folder_entry_t &entry) -> folder_task_t & {
        folder_task_t &subfolder = folders[entry.name];
        if (subfolder.path.empty())
            subfolder = {task.path + "/" + entry.name, false, false,     false,
                         task.may_have_orphans,        false, task.above};
        return subfolder;
    };
    for (const folder_entry_t &entry : sources_.entries)
        if (entry.is_folder && !entry.name.starts_with('.')) {
            folder(entry).in_sources = true;
            folder(entry).through_link = entry.is_link;
        }
    for (const auto &[listing, flag] :
         {std::pair(&outputs_, &folder_task_t::in_outputs), std::pair(&records_, &folder_task_t::in_records)})
        for (const folder_entry_t &entry : listing->entries) {
            if (!entry.is_folder || (entry.is_link && !folders.contains(entry.name)))
                continue;
            folder(entry).*flag = true;
            if (entry.is_link)
                folder(entry).may_have_orphans = false;
        }
    std::vector<folder_task_t> tasks;
    for (auto &named : folders)
        tasks.push_back(std::move(named.second));
    if (!tasks.empty())
        queue_.add(std::move(tasks));
}

void folder_scan_t::scan(folder_task_t &task) {
    if (!list_sources(task))
        return;
    list_products(paths_.outputs, task.in_outputs, task,
                  request_.stamp_outputs ? file_wish_t::stamp : file_wish_t::name, outputs_);
    list_products(paths_.records, task.in_records, task, file_wish_t::stamp, records_);
    match_models(task);
    if (task.may_have_orphans)
        note_orphans(task);
    add_subfolders(task);
}

template <class T>
void append(std::vector<T> &to, std::vector<T> &from) {
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
}

} // namespace

model_t look_at_model(const tree_paths_t &paths, const std::string &path) {
    const std::string output = output_of(path);
    const file_stamp_t made = stamp_of(paths.outputs + output);
    return {path, stamp_of(paths.source(path)), {made.exists(), made}, stamp_of(paths.records + output)};
}

tree_t scan_tree(const tree_paths_t &paths, const scan_request_t &request) {
    folder_queue_t queue;
    std::vector<folder_task_t> tasks;
    for (const std::string &folder : request.folders)
        tasks.push_back({folder, true, true, true, true, false, nullptr});
    queue.add(std::move(tasks));

    std::vector<std::unique_ptr<folder_scan_t>> scans;
    for (unsigned i = 0; i < std::max(request.threads, 1u); ++i)
        scans.push_back(std::make_unique<folder_scan_t>(paths, request, queue));
    std::vector<std::thread> threads;
    try {
        for (size_t i = 1; i < scans.size(); ++i)
            threads.emplace_back([scan = scans[i].get()] { scan->run(); });
    } catch (const std::system_error &) {
        // Those that could be started do it all.
    }
    scans[0]->run();
    for (std::thread &thread : threads)
        thread.join();

    tree_t tree;
    for (const auto &scan : scans) {
        append(tree.models, scan->found.models);
        append(tree.orphans, scan->found.orphans);
        append(tree.failures, scan->found.failures);
        append(tree.remarks, scan->found.remarks);
    }
    for (const std::string &path : request.models)
        if (request.share.holds(path))
            tree.models.push_back(look_at_model(paths, path));
    std::sort(tree.models.begin(), tree.models.end(),
              [](const model_t &a, const model_t &b) { return a.path < b.path; });
    const auto repeated = std::unique(tree.models.begin(), tree.models.end(),
                                      [](const model_t &a, const model_t &b) { return a.path == b.path; });
    tree.models.erase(repeated, tree.models.end());
    for (auto *texts : {&tree.orphans, &tree.failures, &tree.remarks}) {
        std::sort(texts->begin(), texts->end());
        texts->erase(std::unique(texts->begin(), texts->end()), texts->end());
    }
    return tree;
}

} // namespace kestrel
