#include "structure/include_graph.h"

#include <algorithm>
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

namespace {

bool is_source(const fs::path& path) {
    return path.extension() == ".h" || path.extension() == ".c" || path.extension() == ".cpp";
}

// Where an include leads, relative to the root; nothing when it leads out of the tree.
std::optional<std::string> resolve(const fs::path& root, const fs::path& from,
                                   const std::string& name,
                                   const std::vector<std::string>& include_dirs) {
    std::vector<fs::path> places{from.parent_path() / name};
    for (const std::string& folder : include_dirs) {
        places.push_back(root / folder / name);
    }
    for (const fs::path& place : places) {
        if (fs::exists(place)) {
            return fs::relative(fs::weakly_canonical(place), fs::canonical(root)).string();
        }
    }
    return std::nullopt;
}

std::string text_of(const fs::path& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

bool stands_below(const std::string& file, const std::string& place) {
    return file == place || file.starts_with(place + "/");
}

// The level of the floor on which a file of `house` stands, and that floor.
struct Place {
    size_t level;
    std::string floor;
};

std::optional<Place> place_of(const std::string& file, const std::string& house,
                              const Floors& floors) {
    for (size_t level = 0; level < floors.size(); ++level) {
        for (const std::string& floor : floors[level]) {
            if (stands_below(file, house + "/" + floor)) {
                return Place{level, floor};
            }
        }
    }
    return std::nullopt;
}

} // namespace

IncludeGraph read_include_graph(const std::string& root, const std::vector<std::string>& houses,
                                const std::vector<std::string>& include_dirs) {
    IncludeGraph graph;
    for (const std::string& house : houses) {
        for (const auto& entry : fs::recursive_directory_iterator(fs::path(root) / house)) {
            if (!is_source(entry.path())) {
                continue;
            }
            auto& includes = graph[fs::relative(entry.path(), root).string()];
            for (const std::string& name : quoted_includes(text_of(entry.path()))) {
                if (const auto found = resolve(root, entry.path(), name, include_dirs)) {
                    includes.push_back(*found);
                }
            }
        }
    }
    return graph;
}

IncludeGraph part_of(const IncludeGraph& graph, const std::string& folder) {
    IncludeGraph part;
    for (const auto& [file, includes] : graph) {
        if (stands_below(file, folder)) {
            part[file] = includes;
        }
    }
    return part;
}

size_t count_edges(const IncludeGraph& graph) {
    size_t edges = 0;
    for (const auto& [file, includes] : graph) {
        edges += includes.size();
    }
    return edges;
}

std::vector<std::string> arrows_up(const IncludeGraph& graph, const std::string& house,
                                   const Floors& floors) {
    std::vector<std::string> up;
    for (const auto& [file, includes] : part_of(graph, house)) {
        const auto from = place_of(file, house, floors);
        for (const std::string& include : includes) {
            if (!stands_below(include, house)) {
                continue;
            }
            const auto to = place_of(include, house, floors);
            if (!from || !to || (from->floor != to->floor && to->level >= from->level)) {
                up.push_back(file + " -> " + include);
            }
        }
    }
    return up;
}

std::vector<std::string> arrows_out(const IncludeGraph& graph, const std::string& house,
                                    const std::vector<std::string>& allowed) {
    std::vector<std::string> out;
    for (const auto& [file, includes] : part_of(graph, house)) {
        for (const std::string& include : includes) {
            const bool is_allowed =
                std::any_of(allowed.begin(), allowed.end(),
                            [&](const std::string& place) { return stands_below(include, place); });
            if (!stands_below(include, house) && !is_allowed) {
                out.push_back(file + " -> " + include);
            }
        }
    }
    return out;
}

namespace {

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
