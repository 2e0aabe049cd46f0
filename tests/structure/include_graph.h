// The include graph of a source tree, as far as quoted includes within the tree go.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace structure {

// File (path relative to the root) to the files of the tree that it includes.
using IncludeGraph = std::map<std::string, std::vector<std::string>>;

// Reads the quoted includes of every .h and .cpp below `root`.
IncludeGraph read_include_graph(const std::string& root);

// The includes among `lines` of text, in order, whether or not they stand in the tree.
std::vector<std::string> quoted_includes(const std::string& text);

// Arrows that run up: each as "from -> to". `floors` names the top folders, ground first; folders
// of one group of the list stand on the same level but do not include each other.
std::vector<std::string> arrows_up(const IncludeGraph& graph,
                                   const std::vector<std::vector<std::string>>& floors);

// The same graph with a header and the source of its name taken for one: what a unit needs.
IncludeGraph units_of(const IncludeGraph& graph);

// A circle of includes, as "a -> b -> a", or empty when there is none.
std::string circle(const IncludeGraph& graph);

} // namespace structure
