#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace qvp {

/// A graph of plugins in the language of Graphviz, or of Mermaid. `graph` has "nodes" (id, name, version,
/// state) and "edges" (from, to, required, problem, inCycle).
std::string dotPicture(const nlohmann::ordered_json& graph);
std::string mermaidPicture(const nlohmann::ordered_json& graph);

}  // namespace qvp
