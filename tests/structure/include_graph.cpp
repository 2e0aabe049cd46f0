#include "structure/include_graph.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

namespace structure {
namespace fs = std::filesystem;

std::vector<std::string> quoted_includes(const std::string& text) {
    static const std::regex include("^\\s*#\\s*include\\s*\"([^\"]+)\"");
    std::vector<std::string> found;
    std::istringstream lines(text);
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_search(line, match, include)) {
            found.push_back(match[1]);
        }
    }
    return found;
}

IncludeGraph read_include_graph(const std::string& root) {
    IncludeGraph graph;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const fs::path& path = entry.path();
        if (path.extension() != ".h" && path.extension() != ".cpp") {
            continue;
        }
        std::ifstream file(path);
        std::stringstream text;
        text << file.rdbuf();
        auto& includes = graph[fs::relative(path, root).string()];
        for (const std::string& name : quoted_includes(text.str())) {
            if (fs::exists(fs::path(root) / name)) {
                includes.push_back(name);
            }
        }
    }
    return graph;
}

namespace {

std::optional<size_t> level_of(const std::string& folder,
                               const std::vector<std::vector<std::string>>& floors) {
    for (size_t level = 0; level < floors.size(); ++level) {
        for (const std::string& name : floors[level]) {
            if (name == folder) {
                return level;
            }
        }
    }
    return std::nullopt;
}

std::string folder_of(const std::string& file) {
    return file.substr(0, file.find('/'));
}

bool runs_down(const std::string& from, const std::string& to,
               const std::vector<std::vector<std::string>>& floors) {
    if (from == to) {
        return true;
    }
    const auto from_level = level_of(from, floors);
    const auto to_level = level_of(to, floors);
    return from_level && to_level && *to_level < *from_level;
}

bool visit(const IncludeGraph& graph, const std::string& file, std::set<std::string>& done,
           std::vector<std::string>& path) {
    for (const std::string& step : path) {
        if (step == file) {
            path.push_back(file);
            return true;
        }
    }
    if (done.count(file) != 0) {
        return false;
    }
    path.push_back(file);
    const auto node = graph.find(file);
    if (node != graph.end()) {
        for (const std::string& next : node->second) {
            if (visit(graph, next, done, path)) {
                return true;
            }
        }
    }
    path.pop_back();
    done.insert(file);
    return false;
}

} // namespace

std::vector<std::string> arrows_up(const IncludeGraph& graph,
                                   const std::vector<std::vector<std::string>>& floors) {
    std::vector<std::string> up;
    for (const auto& [file, includes] : graph) {
        for (const std::string& include : includes) {
            if (!runs_down(folder_of(file), folder_of(include), floors)) {
                up.push_back(file + " -> " + include);
            }
        }
    }
    return up;
}

IncludeGraph units_of(const IncludeGraph& graph) {
    const auto unit_of = [](const std::string& file) { return file.substr(0, file.rfind('.')); };
    IncludeGraph units;
    for (const auto& [file, includes] : graph) {
        auto& needed = units[unit_of(file)];
        for (const std::string& include : includes) {
            if (unit_of(include) != unit_of(file)) {
                needed.push_back(unit_of(include));
            }
        }
    }
    return units;
}

std::string circle(const IncludeGraph& graph) {
    std::set<std::string> done;
    for (const auto& [file, includes] : graph) {
        std::vector<std::string> path;
        if (visit(graph, file, done, path)) {
            std::string text;
            bool within = false;
            for (const std::string& step : path) {
                within = within || step == path.back();
                if (within) {
                    text += (text.empty() ? "" : " -> ") + step;
                }
            }
            return text;
        }
    }
    return "";
}

} // namespace structure
