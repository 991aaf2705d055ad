#include "report/Picture.h"

#include "report/Text.h"

#include <map>

namespace qvp {
namespace {

using Json = nlohmann::ordered_json;

std::string replaced(const std::string& text, const std::map<char, std::string>& replacements) {
    std::string result;
    for (const char c : printable(text)) {
        const auto found = replacements.find(c);
        result += found == replacements.end() ? std::string(1, c) : found->second;
    }
    return result;
}

std::string forDot(const std::string& text) {
    return replaced(text, {{'"', "\\\""}, {'\\', "\\\\"}, {'&', "&amp;"}});
}

std::string forMermaid(const std::string& text) {
    return replaced(text, {{'"', "#quot;"},
                           {'#', "#35;"},
                           {'&', "#amp;"},
                           {'<', "#lt;"},
                           {'>', "#gt;"},
                           {';', "#59;"},
                           {'`', "#96;"},
                           {'\\', "#92;"}});
}

struct Colours {
    const char* fill;
    const char* line;
};

const std::map<std::string, Colours>& stateColours() {
    static const std::map<std::string, Colours> colours{{"ok", {"#e3f4e3", "#3a7d3a"}},
                                                        {"refused", {"#fbe3e3", "#b02a2a"}},
                                                        {"otherSystem", {"#e3ecfb", "#3a5da8"}},
                                                        {"missing", {"#ffffff", "#b02a2a"}},
                                                        {"duplicate", {"#fdf3d6", "#a87800"}}};
    return colours;
}

// The line below the name: version and state.
std::string secondLine(const Json& node) {
    const auto state = node["state"].get<std::string>();
    std::string version = node["version"].is_null() ? "" : shortVersion(node["version"].get<std::string>());
    if (state == "ok") return version;
    return version.empty() ? state : version + ", " + state;
}

std::string dotNode(const Json& node) {
    const Colours& colours = stateColours().at(node["state"].get<std::string>());
    const bool isMissing = node["state"] == "missing";
    return "  " + node["id"].get<std::string>() + " [label=\"" + forDot(node["name"].get<std::string>()) +
           "\\n" + forDot(secondLine(node)) + "\", fillcolor=\"" + colours.fill + "\", color=\"" +
           colours.line + (isMissing ? "\", style=\"rounded,filled,dashed\"];\n" : "\"];\n");
}

std::string dotEdge(const Json& edge) {
    std::string look;
    if (edge["inCycle"].get<bool>())
        look = ", color=red, fontcolor=red, penwidth=2";
    else if (!edge["problem"].get<std::string>().empty())
        look = ", style=dashed";
    return "  " + edge["from"].get<std::string>() + " -> " + edge["to"].get<std::string>() + " [label=\"" +
           forDot(shortVersion(edge["required"].get<std::string>())) + "\"" + look + "];\n";
}

}  // namespace

std::string dotPicture(const Json& graph) {
    std::string text =
        "digraph plugins {\n"
        "  rankdir=LR;\n"
        "  node [shape=box, style=\"rounded,filled\", fontname=\"sans-serif\"];\n"
        "  edge [fontname=\"sans-serif\", fontsize=10];\n";
    for (const Json& node : graph["nodes"]) text += dotNode(node);
    for (const Json& edge : graph["edges"]) text += dotEdge(edge);
    return text + "}\n";
}

std::string mermaidPicture(const Json& graph) {
    std::string text = "flowchart LR\n";
    for (const Json& node : graph["nodes"]) {
        const std::string second = secondLine(node);
        text += "  " + node["id"].get<std::string>() + "[\"" + forMermaid(node["name"].get<std::string>()) +
                (second.empty() ? "" : "<br/>" + forMermaid(second)) +
                "\"]:::" + node["state"].get<std::string>() + "\n";
    }
    std::string looks;
    int number = 0;
    for (const Json& edge : graph["edges"]) {
        const bool isMet = edge["problem"].get<std::string>().empty() || edge["inCycle"].get<bool>();
        text += "  " + edge["from"].get<std::string>() + (isMet ? " -->|\"" : " -.->|\"") +
                forMermaid(shortVersion(edge["required"].get<std::string>())) + "\"| " +
                edge["to"].get<std::string>() + "\n";
        if (edge["inCycle"].get<bool>())
            looks += "  linkStyle " + std::to_string(number) + " stroke:red,color:red\n";
        ++number;
    }
    for (const auto& [state, colours] : stateColours())
        text += "  classDef " + state + " fill:" + colours.fill + ",stroke:" + colours.line +
                (state == "missing" ? ",stroke-dasharray:4" : "") + "\n";
    return text + looks;
}

}  // namespace qvp
