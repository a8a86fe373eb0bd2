// SPDX-License-Identifier: BSD-2-Clause
#include "tests/structure/IncludeRules.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <span>
#include <string_view>

namespace brindle::structure {

namespace {

namespace fs = std::filesystem;

/// What the files of a folder may include of ours, besides their own folder. An entry stands for
/// that folder and what is below it; one that ends in '/' for that folder alone. A file is held
/// against the longest folder that it is in.
struct FolderRule {
    std::string_view folder;
    std::vector<std::string_view> may;
};

const std::vector<FolderRule>& folderRules() {
    static const std::vector<FolderRule> rules{
        {"core/net", {}},
        {"core/log/records", {"core/net"}},
        {"core/geo", {"core/net", "core/log/records", "platform"}},
        {"core/annotate", {"core/net", "core/log/records", "platform"}},
        {"core/exclusions", {"core/net", "core/log/records", "platform"}},
        {"core/log",
         {"core/net", "core/log/records", "core/geo", "core/annotate", "core/exclusions",
          "platform", "protocol/"}},
        {"core/stats",
         {"core/net", "core/log", "core/geo", "core/annotate", "core/exclusions", "platform",
          "protocol/"}},
        {"platform", {}},
        {"protocol", {"core/log/records"}},
        {"protocol/wire", {"core/log/records", "core/net", "protocol/"}},
        {"protocol/client", {"core/log/records", "core/net", "protocol/", "protocol/wire"}},
        {"protocol/server", {"core/log/records", "core/net", "protocol/", "protocol/wire"}},
        {"tallyd", {"core/net", "core/log/records", "platform", "protocol/"}},
        {"tallyd/records", {"core/log/records", "protocol/"}},
        {"tallyd/sources", {"core/net", "core/log/records", "platform", "tallyd/records"}},
        {"tallyd/server",
         {"core/net", "core/log/records", "platform", "protocol/", "tallyd/records"}},
        {"tallyd/store",
         {"core/net", "core/log/records", "platform", "protocol/", "tallyd/records"}},
        {"tallyd/privilege", {"platform"}},
        {"tallyctl", {"core/net", "core/log/records", "platform", "protocol/"}},
        {"app", {"core", "platform"}},
        {"app/images", {"app/", "core", "platform"}},
        {"app/trace", {"app/", "core", "platform"}},
        {"app/link", {"app/", "app/trace", "core", "platform"}},
        {"app/logs", {"app/", "app/images", "app/link", "app/trace", "core", "platform"}},
        {"app/tallies", {"app/", "app/images", "app/trace", "core", "platform"}},
        {"app/lists",
         {"app/", "app/images", "app/link", "app/tallies", "app/trace", "core", "platform"}},
        {"app/stats",
         {"app/", "app/images", "app/link", "app/tallies", "app/trace", "core", "platform"}},
        {"app/exclusions", {"app/", "app/images", "app/link", "app/trace", "core", "platform"}},
        {"vardex", {"core/net", "core/geo", "core/log/records", "platform", "app/images"}},
        {"vardex/guard", {"core/net"}},
        {"vardex/apply", {"core/net", "vardex/guard"}},
        {"vardex/list", {"core/net", "platform", "vardex/guard"}},
        {"bench", {"core", "platform", "protocol", "tallyd", "tallyctl", "app", "vardex"}},
        {"tests", {"core", "platform", "protocol", "tallyd", "tallyctl", "app", "vardex", "bench"}},
    };
    return rules;
}

/// The two interfaces between the daemon's parts: each part sees the one it is meant to.
struct HeaderRule {
    std::string_view header;
    std::string_view hiddenFrom;
};
constexpr HeaderRule kHeaderRules[]{
    {"tallyd/records/RecordReader.h", "tallyd/sources"},
    {"tallyd/records/RecordSink.h", "tallyd/server"},
};

/// Libraries that only some folders may know. Tests and benchmarks may know all of them.
struct LibraryRule {
    std::string_view name;
    std::vector<std::string_view> headers; ///< beginnings of the name between the brackets
    std::vector<std::string_view> folders;
};

const std::vector<LibraryRule>& libraryRules() {
    static const std::vector<LibraryRule> rules{
        {"Qt",
         {"Q", "qt", "moc_", "ui_"},
         {"app", "vardex", "platform/queue/main", "platform/timer", "platform/broadcast"}},
        {"the RPC library",
         {"capnp/", "kj/"},
         {"protocol/wire", "protocol/client", "protocol/server"}},
        {"SQLite", {"sqlite3"}, {"tallyd/store"}},
        {"libpcap", {"pcap"}, {"tallyd/sources", "tallyd/privilege"}},
        {"netlink",
         {"linux/netlink", "linux/netfilter", "linux/rtnetlink", "libmnl/", "libnetfilter"},
         {"tallyd/sources", "tallyd/privilege", "vardex"}},
        {"libsystemd", {"systemd/"}, {"tallyd"}},
        {"libplist", {"plist/"}, {"platform/plist"}},
        {"c-ares", {"ares"}, {"platform/resolver"}},
        {"a command line", {"CLI/"}, {"tallyd", "tallyctl", "vardex"}},
        {"a configuration file", {"toml"}, {"tallyd"}},
    };
    return rules;
}

constexpr std::string_view kTopFolders[]{"app",      "bench",  "core",  "platform", "protocol",
                                         "tallyctl", "tallyd", "tests", "vardex"};
constexpr std::string_view kLicenceLine = "// SPDX-License-Identifier: BSD-2-Clause";

bool isBelow(std::string_view folder, std::string_view above) {
    return folder.starts_with(above) &&
           (folder.size() == above.size() || folder[above.size()] == '/');
}

bool isBelowAny(std::string_view folder, std::span<const std::string_view> above) {
    return std::any_of(above.begin(), above.end(),
                       [&](std::string_view one) { return isBelow(folder, one); });
}

const FolderRule* ruleOf(std::string_view folder) {
    const FolderRule* longest = nullptr;
    for (const FolderRule& rule : folderRules())
        if (isBelow(folder, rule.folder) &&
            (!longest || rule.folder.size() > longest->folder.size()))
            longest = &rule;
    return longest;
}

bool isAllowed(const FolderRule& rule, std::string_view target) {
    if (ruleOf(target) == &rule)
        return true;
    // A main program's folder puts its parts together.
    if ((rule.folder == "tallyd" || rule.folder == "app" || rule.folder == "vardex") &&
        isBelow(target, rule.folder))
        return true;
    return std::any_of(rule.may.begin(), rule.may.end(), [&](std::string_view entry) {
        if (entry.ends_with('/'))
            return target == entry.substr(0, entry.size() - 1);
        return isBelow(target, entry);
    });
}

struct Include {
    std::string target;
    bool quoted = false;
};

/// The header of an #include line; nothing for every other line.
std::optional<Include> includeOf(std::string_view line) {
    const auto skipBlanks = [&line] {
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    };
    skipBlanks();
    for (const std::string_view word : {"#", "include"}) {
        if (!line.starts_with(word))
            return std::nullopt;
        line.remove_prefix(word.size());
        skipBlanks();
    }
    if (line.empty() || (line[0] != '"' && line[0] != '<'))
        return std::nullopt;
    const bool quoted = line[0] == '"';
    const auto end = line.find(quoted ? '"' : '>', 1);
    if (end == line.npos)
        return std::nullopt;
    return Include{std::string(line.substr(1, end - 1)), quoted};
}

std::string folderOf(std::string_view path) {
    const auto slash = path.rfind('/');
    return std::string(path.substr(0, slash == path.npos ? 0 : slash));
}

/// They stand in the build folder only, beside or without the path of what they are made from.
bool isMadeByQtsCompilers(std::string_view target) {
    const std::string_view name = target.substr(target.rfind('/') + 1);
    return name.starts_with("ui_") || name.starts_with("moc_") || name.ends_with(".moc");
}

class Checker {
  public:
    explicit Checker(fs::path root) : root_(std::move(root)) {}

    void check(const std::string& file) {
        file_ = file;
        folder_ = folderOf(file);
        line_ = 0;
        std::ifstream stream(root_ / file);
        bool sawInclude = false;
        for (std::string text; std::getline(stream, text);) {
            ++line_;
            if (line_ == 1 && text != kLicenceLine)
                tell("does not open with the licence line");
            const auto include = includeOf(text);
            if (!include)
                continue;
            if (!sawInclude)
                checkOwnHeaderFirst(include->target);
            sawInclude = true;
            checkLibrary(include->target);
            if (include->quoted)
                checkOurs(include->target);
        }
        if (line_ == 0)
            tell("is empty");
    }
    std::vector<std::string> found() && { return std::move(found_); }

  private:
    void tell(const std::string& what) {
        found_.push_back(file_ + ":" + std::to_string(line_) + ": " + what);
    }

    void checkOwnHeaderFirst(const std::string& target) {
        if (!file_.ends_with(".cpp"))
            return;
        const std::string own = file_.substr(0, file_.size() - 3) + "h";
        if (fs::exists(root_ / own) && target != own)
            tell("does not include its own header first");
    }

    void checkLibrary(const std::string& target) {
        if (isBelow(folder_, "tests") || isBelow(folder_, "bench"))
            return;
        for (const LibraryRule& rule : libraryRules()) {
            const bool named =
                std::any_of(rule.headers.begin(), rule.headers.end(),
                            [&](std::string_view header) { return target.starts_with(header); });
            if (named && !isBelowAny(folder_, rule.folders))
                tell("knows " + std::string(rule.name) + ": " + target);
        }
    }

    void checkOurs(const std::string& target) {
        const std::string targetFolder = folderOf(target);
        if (target.ends_with(".capnp.h")) {
            if (!isBelow(folder_, "protocol") && !isBelow(folder_, "tests"))
                tell("knows the wire form: " + target);
            return;
        }
        if (isMadeByQtsCompilers(target)) {
            if (targetFolder.empty())
                return;
        } else if (!fs::exists(root_ / target)) {
            return tell("names no file from the root: " + target);
        }
        const FolderRule* rule = ruleOf(folder_);
        if (!rule)
            return tell("is in a folder without a rule");
        if (!isAllowed(*rule, targetFolder))
            tell(std::string(rule->folder) + " may not include " + target);
        for (const HeaderRule& hidden : kHeaderRules)
            if (target == hidden.header && isBelow(folder_, hidden.hiddenFrom))
                tell(std::string(hidden.hiddenFrom) + " may not include " + target);
    }

    fs::path root_;
    std::string file_;
    std::string folder_;
    int line_ = 0;
    std::vector<std::string> found_;
};

} // namespace

std::vector<std::string> violations(const fs::path& root) {
    std::vector<std::string> files;
    for (const std::string_view top : kTopFolders) {
        if (!fs::exists(root / top))
            continue;
        for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
            const auto extension = entry.path().extension();
            if (entry.is_regular_file() && (extension == ".cpp" || extension == ".h"))
                files.push_back(entry.path().lexically_relative(root).generic_string());
        }
    }
    std::sort(files.begin(), files.end());
    Checker checker(root);
    for (const std::string& file : files)
        checker.check(file);
    return std::move(checker).found();
}

} // namespace brindle::structure
