// The include graph of a source tree, as far as quoted includes within the tree go.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace structure {

// File to the files of the tree that it includes; paths relative to the root.
using IncludeGraph = std::map<std::string, std::vector<std::string>>;

// Folders or files on the same level, ground first. Those of one level do not include each other.
using Floors = std::vector<std::vector<std::string>>;

// Reads the quoted includes of every .h, .c and .cpp below the `houses` of `root`. An include is
// looked for as the compiler does: beside the file, then in each of `include_dirs` ("" is the
// root). What is not found there is not of this tree.
IncludeGraph read_include_graph(const std::string& root, const std::vector<std::string>& houses,
                                const std::vector<std::string>& include_dirs);

// The includes of a text, in order, whether or not they stand in the tree.
std::vector<std::string> quoted_includes(const std::string& text);

// The part of the graph whose files stand below `folder`.
IncludeGraph part_of(const IncludeGraph& graph, const std::string& folder);

// The includes that a graph holds.
size_t count_edges(const IncludeGraph& graph);

// Arrows within `house` that do not run down its floors, each as "from -> to". Files of a folder
// include each other freely; a folder that is no floor is an error.
std::vector<std::string> arrows_up(const IncludeGraph& graph, const std::string& house,
                                   const Floors& floors);

// Arrows from `house` to what is neither below one of `allowed` nor one of them.
std::vector<std::string> arrows_out(const IncludeGraph& graph, const std::string& house,
                                    const std::vector<std::string>& allowed);

// The same graph with a header and the source of its name taken for one: what a unit needs.
IncludeGraph units_of(const IncludeGraph& graph);

// A circle of includes, as "a -> b -> a", or empty when there is none.
std::string circle(const IncludeGraph& graph);

} // namespace structure
