#include "CommandLine.h"

#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/system/Process.h>

#include "LibraryImages.h"
#include "QvPluginSystem/PluginFixture.h"
#include "Specimens.h"
#include "report/Text.h"
#include "support/Platform.h"
#include "support/Rights.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>

namespace {

using Json = nlohmann::ordered_json;
using support::Texts;

struct Result {
    int status = 0;
    std::string out;
    std::string errors;
};

class CommandTest : public support::PluginTest {
protected:
    Result run(const Texts& words, std::size_t columns = qvp::Page::kUnlimited) const {
        Texts arguments{"--dir", folder.path()};
        arguments.insert(arguments.end(), words.begin(), words.end());
        std::ostringstream out;
        std::ostringstream errors;
        const int status = qvp::runCommandLine(arguments, out, errors, columns);
        return {status, out.str(), errors.str()};
    }

    Json json(Texts words, int status) const {
        words.emplace_back("--json");
        const Result result = run(words);
        EXPECT_EQ(result.status, status) << result.out << result.errors;
        const Json document = Json::parse(result.out);
        EXPECT_EQ(document["schema"], "qvp/1");
        EXPECT_EQ(document["command"], words.front());
        EXPECT_EQ(document["ok"], status == 0);
        return document;
    }

    /// A scene, its dependents, and plugins that are refused.
    void addSimulation() const {
        add("scene", {"version 1.2", "compatibility 1.0", "displayName The Scene"});
        add("collision", {"version 1.0", "needs scene 1.1"});
        add("world", {"needs collision 1.0", "needs scene 1.0"});
        add("fluid", {"needs turbulence 1.0"});
        add("foam", {"needs fluid 0"});
        add("ragdoll", {"needs scene 9.0"});
        add("hinge", {"version 3.0", "needs motor 1.0"});
        add("motor", {"version 4.0", "needs hinge 2.0"});
    }

    /// For the other system.
    void addForeign(const std::string& name) const {
        const support::LibraryImage facts{{"libother"}, support::entryPoints()};
        support::writeFile(path(name + ".qvp"),
                           support::kWindows ? support::elfImage(facts) : support::peImage(facts));
    }

    static Texts strings(const Json& list, const char* key) {
        Texts texts;
        for (const Json& element : list) texts.push_back(element[key]);
        return texts;
    }
};

TEST_F(CommandTest, why) {
    addSimulation();
    const Json collision = json({"why", "collision"}, 0);
    EXPECT_EQ(collision["verdict"], "collision is OK: it is found, loaded and initialized.");
    EXPECT_EQ(strings(collision["steps"], "state"), Texts(10, "ok"));
    EXPECT_EQ(strings(collision["askedBy"], "name"), Texts{"world"});

    const Json foam = json({"why", "foam"}, 1);
    EXPECT_EQ(foam["verdict"],
              "foam is not loaded: The following dependency has not been initialized : fluid");
    EXPECT_EQ(strings(foam["because"], "problem"),
              (Texts{"The following dependency has not been initialized : fluid",
                     "Could not find dependent plugin turbulence"}));
    EXPECT_EQ(foam["steps"][8]["state"], "failed");
    EXPECT_EQ(foam["steps"][9]["state"], "notReached");
    EXPECT_EQ(foam["advice"][0].get<std::string>().rfind("Put turbulence.qvp into", 0), 0U);
    EXPECT_EQ(strings(json({"why", path("fluid.qvp")}, 1)["fails"], "name"), Texts{"foam"});

    const Json missing = json({"why", "turbulence"}, 1);
    EXPECT_EQ(missing["verdict"], "turbulence is not loaded: no file with that name was found.");
    EXPECT_EQ(strings(missing["askedBy"], "name"), (Texts{"fluid", "foam"}));
    EXPECT_EQ(missing["lookedIn"][0], folder.path());

    EXPECT_EQ(json({"why", "ragdoll"}, 1)["advice"][0],
              "Install a version of scene that is compatible with 9.0, or change the version that ragdoll "
              "requires: " +
                  path("scene.qvp") + " is version 1.2 and is compatible with 1.0 to 1.2.");
    EXPECT_EQ(json({"why", "motor"}, 1)["advice"][0],
              "Remove one dependency from the cycle hinge -[1.0]-> motor -[2.0]-> hinge.");
}

TEST_F(CommandTest, whyNamesAMisnamedFile) {
    add("engine_v2", {"name engine"});
    add("apple", {"needs engine 1.0"});  // before it in the directory, and the other one after it
    add("zebra", {"needs engine 0"});
    add("Gear", {});
    add("box", {"needs gear 0"});
    const std::string rename =
        "Rename " + path("engine_v2.qvp") + " to engine.qvp: it contains the plugin engine";
    for (const std::string name : {"apple", "zebra", "engine_v2", "engine"}) {
        const Json why = json({"why", name}, 1);
        ASSERT_FALSE(why["misnamed"].empty()) << why;
        EXPECT_EQ(why["misnamed"][0], (Json{{"plugin", "engine"},
                                            {"file", path("engine_v2.qvp")},
                                            {"lookedFor", "engine.qvp"},
                                            {"renameTo", path("engine.qvp")}}));
        ASSERT_EQ(why["advice"].size(), 1U) << why["advice"];
        EXPECT_EQ(why["advice"][0].get<std::string>().rfind(rename, 0), 0U) << why["advice"];
    }
    const Json box = json({"why", "box"}, support::kWindows ? 0 : 1);
    EXPECT_EQ(box["misnamed"].size(), support::kWindows ? 0U : 1U);
    for (const Json& misnamed : box["misnamed"]) EXPECT_EQ(misnamed["renameTo"], path("gear.qvp"));
}

TEST_F(CommandTest, whyTellsWhatHappensAfterInitialization) {
    const auto adviceOf = [](const Json& why) { return why["advice"][0].get<std::string>(); };
    for (const std::string name : {"crashWhenUninitialized", "crashInDestructor"}) {
        if (support::kThreadSanitizer) break;
        const Json why = json({"why", support::specimen(name)}, 1);
        EXPECT_EQ(strings(why["steps"], "state"), Texts(10, "ok"));
        EXPECT_NE(why["afterInitialization"].get<std::string>().find("its code crashed while it"),
                  std::string::npos)
            << why;
        EXPECT_EQ(adviceOf(why).rfind("Fix UninitializePlugin and", 0), 0U);
    }
    const Json exits = json({"why", support::specimen("exitWhenInitialized")}, 1);
    EXPECT_EQ(exits["verdict"], "specimen is not loaded: called exit(0) while it was initialized");
    EXPECT_EQ(adviceOf(exits).rfind("Remove what ends the process", 0), 0U);
    EXPECT_NE(exits["printed"].get<std::string>().find("said while it was opened"), std::string::npos);
    EXPECT_EQ(json({"why", support::specimen("saysNo")}, 1)["verdict"],
              "specimen is not loaded: specimen: InitializePlugin returned false and gave no reason");
    const Json check = json({"check", support::specimen("exitWhenOpened")}, 1);
    EXPECT_EQ(check["problems"][0]["text"], "called exit(3) while it was opened");
    EXPECT_NE(check["problems"][0]["printed"], "");
}

TEST_F(CommandTest, adviceIsBoundedAndNamesWhatLiesNextToThePlugin) {
    Texts lines;
    for (int i = 0; i < 3000; ++i) lines.push_back("needs part" + std::to_string(i) + " 1.0");
    add("greedy", lines);
    const Json greedy = json({"why", "greedy"}, 1);
    EXPECT_EQ(greedy["advice"].size(), 11U);
    EXPECT_LT(greedy["verdict"].get<std::string>().size(), 1000U);
    EXPECT_EQ(greedy["plugin"]["problem"], "Could not find dependent plugin part0");
    EXPECT_LT(run({"check"}).out.size(), 10000U);

    const std::string other = folder.addDirectory("other");
    addCopy("scripted.qvp", "other/ship.qvp");
    support::writeFile(other + "ship.txt", "needs hull 1.0\nname ship\n");
    addCopy("scripted.qvp", "other/hull.qvp");
    EXPECT_EQ(
        json({"why", other + "ship.qvp"}, 1)["advice"][0],
        "Add --dir " + other + ": hull.qvp is there, next to ship.qvp, but that is no search directory.");
}

TEST_F(CommandTest, checkStopsShortOfInitialization) {
    addSimulation();
    add("engine", {"initialize false"});
    const Json engine = json({"why", "engine"}, 1);
    EXPECT_EQ(engine["steps"][9]["state"], "failed");
    EXPECT_EQ(engine["verdict"], "engine is not loaded: engine: initialize said no");
    const Json clean = json({"check", path("scene.qvp"), path("world.qvp")}, 0);
    EXPECT_EQ(strings(clean["checked"], "name").size(), 2U);

    add("a", {"name scene"});
    support::writeFile(path("text.qvp"), "not a library");
    const Json everything = json({"check"}, 1);
    Texts found;
    for (const Json& problem : everything["problems"])
        found.push_back(problem["plugin"].get<std::string>() + " " + problem["kind"].get<std::string>());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (Texts{"fluid dependencies", "foam dependencies", "hinge cycle", "hinge dependencies",
                            "motor dependencies", "ragdoll dependencies", "scene duplicate", "scene fileName",
                            "text readable"}));
    const Json text = json({"check", path("text.qvp"), path("gone.qvp")}, 1);
    EXPECT_EQ(strings(text["problems"], "plugin"), (Texts{"gone", "text"}));
}

TEST_F(CommandTest, checkFailsWhereItLookedAtNothing) {
    const auto textsOf = [](const Json& document) { return strings(document["problems"], "text"); };
    EXPECT_EQ(textsOf(json({"check"}, 1)), Texts{"This directory, given by --dir, contains no plugins"});
    add("scene");
    EXPECT_EQ(textsOf(json({"check", "--dir", "", "--dir", path("scene.qvp")}, 1)),
              (Texts{"This directory, given by --dir, has an empty name",
                     "This directory, given by --dir, is not a directory"}));
    EXPECT_EQ(json({"list", "--dir", ""}, 1)["totals"]["files"], 1);
    json({"check"}, 0);

    std::ostringstream out;
    std::ostringstream errors;
    const support::CurrentDirectoryChange change(folder.path());  // not searched
    EXPECT_EQ(qvp::runCommandLine({"check"}, out, errors), 1);
    EXPECT_EQ(out.str().rfind("Nothing was checked: ", 4), 4U) << out.str();
}

TEST_F(CommandTest, warnsOfWhatOthersCanChange) {
    support::letEveryoneWrite(path(""));
    support::letEveryoneWrite(add("scene"));
    for (const char* command : {"check", "env"}) {
        const Json warnings = json({command}, 0)["warnings"];
        ASSERT_GE(warnings.size(), 1U);
        const std::string text = warnings[0]["text"];
        EXPECT_EQ(text, "Other users can change " + path("") + ": " +
                            warnings[0]["weakPoint"].get<std::string>() + " is writable by everyone");
        EXPECT_NE(run({command}).out.find("Warning: " + text + "\n"), std::string::npos);
    }
}

TEST_F(CommandTest, aPluginForTheOtherSystemIsOnlyRead) {
    const std::string system = support::kWindows ? "Linux" : "Windows";
    add("scene", {"version 1.2"});
    addForeign("terrain");
    const Json check = json({"check"}, 3);
    ASSERT_EQ(check["onlyRead"].size(), 1U);
    EXPECT_EQ(check["onlyRead"][0],
              (Json{{"plugin", "terrain"},
                    {"file", path("terrain.qvp")},
                    {"system", system},
                    {"steps", {"libraries", "opened", "buildInformation", "descriptor"}}}));
    EXPECT_NE(run({"check"}).out.find("needs " + system +
                                      " for libraries, opened, build information and descriptor"),
              std::string::npos);
    EXPECT_EQ(json({"list"}, 1)["totals"]["otherSystem"], 1);

    const Json why = json({"why", "terrain"}, 1);
    EXPECT_EQ(why["verdict"], "terrain is not loaded: this system cannot load a library for " + system + ".");
    const std::string needsOther = "needsOtherSystem";
    EXPECT_EQ(strings(why["steps"], "state"), (Texts{"ok", "ok", "ok", needsOther, needsOther, "ok",
                                                     needsOther, needsOther, needsOther, needsOther}));
    EXPECT_EQ(why["missingLibraries"].size(), 0U);
    EXPECT_EQ(why["advice"][0], "Build terrain.qvp for this platform (64-bit x86), or install such a build.");

    const Json info = json({"info", "terrain"}, 1);
    EXPECT_EQ(info["problem"], "This plugin is for " + system + ": it is only read.");
    EXPECT_EQ(info["entryPoints"]["found"].size(), 4U);
    EXPECT_EQ(info["entryPoints"]["optional"],
              (Json{{"SavePluginState", false}, {"RestorePluginState", false}}));
    EXPECT_EQ(strings(info["libraries"], "foundBy"), Texts{"not searched"});

    add("ship", {"needs terrain 1.0"});
    const Json ship = json({"check"}, 1);
    EXPECT_EQ(strings(ship["problems"], "plugin"), Texts{"ship"});
    EXPECT_EQ(json({"why", "ship"}, 1)["advice"], why["advice"]);
}

TEST_F(CommandTest, listAndOrder) {
    addSimulation();
    const std::string second = folder.addDirectory("second");
    addCopy("scripted.qvp", "second/scene.qvp");
    support::writeFile(second + "scene.txt", "name scene\n");
    QvPlatform::putEnv("QVP_PATH", second + QvPlatform::getPathSeparator() + folder.path());
    const Json list = json({"list"}, 1);
    const Json env = json({"env"}, 0);
    QvPlatform::putEnv("QVP_PATH", "");
    EXPECT_EQ(strings(env["directories"], "origin"), (Texts{"--dir", "QVP_PATH", "default"}));
    EXPECT_EQ(env["directories"][1]["plugins"], 1);
    EXPECT_EQ(list["totals"],
              (Json{{"files", 9}, {"ok", 3}, {"refused", 5}, {"otherSystem", 0}, {"duplicate", 1}}));
    EXPECT_EQ(list["duplicates"][0]["taken"], path("scene.qvp"));
    EXPECT_EQ(list["duplicates"][0]["others"][0], second + "scene.qvp");

    const Json scene = json({"info", "scene"}, 0);
    EXPECT_EQ(scene["descriptor"]["displayName"], "The Scene");
    EXPECT_EQ(scene["dependents"].size(), 3U);
    EXPECT_EQ(scene["entryPoints"]["missing"].size(), 0U);
    EXPECT_EQ(scene["entryPoints"]["optional"],
              (Json{{"SavePluginState", true}, {"RestorePluginState", true}}));
    for (const Json& row : scene["buildInformation"]) EXPECT_TRUE(row["same"]) << row;

    const Json order = json({"order"}, 1);
    EXPECT_EQ(strings(order["initialization"], "name"), (Texts{"scene", "collision", "world"}));
    EXPECT_EQ(strings(order["initialization"], "reason"),
              (Texts{"no dependencies", "after scene 1.1, which it needs",
                     "after collision 1.0 and scene 1.0, which it needs"}));
    EXPECT_EQ(strings(order["unloading"], "name"), (Texts{"world", "collision", "scene"}));
}

TEST_F(CommandTest, graph) {
    add("it", {"name i\"t & <b>\\", "needs gone 1.5"});
    add("hinge", {"needs motor 1.0", "version 3.0"});
    add("motor", {"needs hinge 2.0", "version 4.0"});
    const auto expectParts = [&](const Texts& words, const Texts& parts) {
        const std::string picture = run(words).out;
        for (const std::string& part : parts)
            EXPECT_NE(picture.find(part), std::string::npos) << part << '\n' << picture;
    };
    expectParts({"graph"}, {"label=\"i\\\"t &amp; <b>\\\\\\n0.0, refused\"", "label=\"gone\\nmissing\"",
                            "label=\"1.5\", style=dashed", "label=\"2.0\", color=red"});
    expectParts(
        {"graph", "--format", "mermaid"},
        {"[\"i#quot;t #amp; #lt;b#gt;#92;<br/>0.0, refused\"]:::refused", "-.->|\"1.5\"|", "stroke:red"});
    const Result svg = run({"graph", "--format", "svg"});
    EXPECT_EQ(svg.status, 1);
    EXPECT_TRUE(svg.out.find("</svg>") != std::string::npos || svg.out.find("graphviz") != std::string::npos);
}

TEST_F(CommandTest, theProgramItself) {
    addSimulation();
    const std::string programs =
        QvPlatform::Directory(QvPlatform::Directory::kExecutableDirectory).toUniversalPath();
    const std::string arguments = "--dir \"" + folder.path() + "\" graph -o \"" + path("picture.dot") + "\"";
    std::int64_t exitCode = -1;
    EXPECT_TRUE(QvSim::Process::shellExecute("\"" + programs + (support::kWindows ? "qvp.exe\"" : "qvp\""),
                                             arguments, false, true, &exitCode));
    EXPECT_EQ(exitCode, 1);
    EXPECT_NE(support::readFile(path("picture.dot")).find("collision\\n1.0"), std::string::npos);
}

TEST_F(CommandTest, probe) {
    const Json clean = json({"probe", support::specimen("independent")}, 0);
    EXPECT_EQ(strings(clean["phases"], "name"), (Texts{"load", "initialize", "uninitialize", "close"}));
    EXPECT_EQ(json({"probe", support::specimen("leavesObject")}, 1)["left"].size(), 1U);
    EXPECT_EQ(json({"probe", "nowhere"}, 1)["problems"][0],
              "There is no plugin nowhere in the search directories.");
    const std::string missing = folder.path() + "nowhere.qvp";
    EXPECT_EQ(json({"probe", missing}, 1)["problems"][0].get<std::string>().rfind(
                  "It was not opened: " + missing + ": ", 0),
              0U);
    addSimulation();
    EXPECT_EQ(json({"probe", "fluid"}, 1)["problems"][0],
              "It was not initialized: fluid: Could not find dependent plugin turbulence");
    if (support::kThreadSanitizer) return;
    const Json crash = json({"probe", support::specimen("crashWhenInitialized")}, 1);
    EXPECT_EQ(crash["problems"][0].get<std::string>().rfind(
                  "It was not initialized: its code crashed while it was initialized: ", 0),
              0U)
        << crash;
    EXPECT_NE(crash["callStack"].get<std::string>().find("Specimen.cpp ("), std::string::npos) << crash;
}

TEST_F(CommandTest, newMakesAProjectOnce) {
    const Json made = json({"new", "gravity", "--into", folder.path()}, 0);
    EXPECT_EQ(made["files"].size(), 5U);
    EXPECT_TRUE(made["prefix"].is_null());
    const std::string programs =
        QvPlatform::Directory(QvPlatform::Directory::kExecutableDirectory).toUniversalPath();
    EXPECT_EQ(made["program"], programs + "qvp");
    EXPECT_NE(support::readFile(path("gravity/gravity.cpp")).find("info.name = \"gravity\""),
              std::string::npos);
    EXPECT_EQ(json({"new", "gravity", "--into", folder.path()}, 1)["files"].size(), 0U);
}

TEST_F(CommandTest, wrongUse) {
    for (const Texts& words : {Texts{},
                               {"nonsense"},
                               {"why"},
                               {"list", "--color", "red"},
                               {"graph", "--format", "gif"},
                               {"new", "../x"},
                               {"new", "test"},
                               {"new", "liveHost"},
                               {"completion", "csh"},
                               {"--exists"},
                               {"--exists", "x", "list"},
                               {"--exists", "x", "--at-least", "1.x"},
                               {"--at-least", "1.0"}}) {
        const Result result = run(words);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.errors.rfind("qvp: ", 0), 0U) << result.errors;
    }
    EXPECT_EQ(run({"lsit"}).errors,
              "qvp: unknown command \"lsit\"; did you mean \"list\"?\nSee qvp --help.\n");
    EXPECT_EQ(run({"entirely"}).errors, "qvp: unknown command \"entirely\"\nSee qvp --help.\n");

    EXPECT_EQ(run({"--help"}).status, 0);
    const std::string help = run({"info", "--help"}).out;
    for (const char* part : {"--dependents", "Common options", "--timeout", "=10", "=auto", "Exit status: 0"})
        EXPECT_NE(help.find(part), std::string::npos) << part << '\n' << help;

    std::ostringstream full;
    full.setstate(std::ios::badbit);
    std::ostringstream errors;
    EXPECT_EQ(qvp::runCommandLine({"env"}, full, errors), 2);
    EXPECT_EQ(errors.str().rfind("qvp: could not write the output", 0), 0U) << errors.str();
}

TEST_F(CommandTest, existsTellsByItsStatusOnly) {
    addSimulation();
    const std::vector<std::pair<Texts, int>> cases{{{"scene"}, 0},
                                                   {{"scene", "--at-least", "1.2"}, 0},
                                                   {{"scene", "--at-least", "1.3"}, 1},
                                                   {{"world"}, 0},
                                                   {{"foam"}, 1},
                                                   {{"hinge"}, 1},
                                                   {{"nobody"}, 1}};
    for (const auto& [arguments, status] : cases) {
        Texts words{"--exists"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const Result result = run(words);
        EXPECT_EQ(result.status, status) << arguments.front() << result.errors;
        EXPECT_EQ(result.out + result.errors, "");
    }
}

TEST_F(CommandTest, amongManyPluginsInfoExaminesThoseThatItNeeds) {
    addSimulation();
    for (int i = 0; i < 100; ++i) support::writeFile(path("text" + std::to_string(i) + ".qvp"), "no library");
    const Json collision = json({"info", "collision"}, 0);
    EXPECT_TRUE(collision["dependents"].is_null());
    EXPECT_EQ(strings(collision["dependencies"], "name"), Texts{"scene"});
    EXPECT_EQ(strings(json({"info", "collision", "--dependents"}, 0)["dependents"], "name"), Texts{"world"});
    if (support::kWindows) return;  // a process for each plugin takes minutes there
    // Which problem a plugin in a cycle has depends on all others.
    const Json list = json({"list"}, 1);
    for (const char* name : {"hinge", "motor", "fluid", "ragdoll", "text7"}) {
        const auto plugin = std::find_if(list["plugins"].begin(), list["plugins"].end(),
                                         [&](const Json& each) { return each["name"] == name; });
        EXPECT_EQ(json({"info", name}, 1)["problem"], (*plugin)["problem"]);
    }
}

TEST_F(CommandTest, namesThatOnlyLookLikePlugins) {
    add("scene");
    folder.addDirectory("folder.qvp");
    add("world");
    std::filesystem::rename(support::pathOf(path("world.qvp")), support::pathOf(path("world.QVP")));
    const Json list = json({"list"}, 1);
    EXPECT_EQ(strings(list["plugins"], "name"), (Texts{"folder", "scene", "world"}));
    const char* const aboutExtension =
        "The plugin manager does not load this file: its extension is .QVP, not .qvp.";
    // On Windows the file system finds it by its name.
    EXPECT_EQ(strings(list["plugins"], "problem"),
              (Texts{"it is a directory, not a file", "", support::kWindows ? "" : aboutExtension}));
    if (support::kWindows) return;
    EXPECT_EQ(json({"why", "world"}, 1)["advice"][0],
              "Rename " + path("world.QVP") +
                  " to world.qvp: it contains the plugin world, and dependents look for a file of that "
                  "name.");
}

TEST_F(CommandTest, textFitsTheTerminal) {
    addSimulation();
    const std::string name = "a-plugin-with-quite-a-long-name-" + std::string(80, 'x');
    add(name, {"needs scene 7.0", "displayName " + std::string(150, 'y'), "version 1.2"});
    addForeign("foreign");
    add("red", {"needs " + name + " 2.0", "displayName \033[31mred"});
    const std::vector<Texts> commands{{"list"},           {"info", name},
                                      {"why", "red"},     {"why", "scene"},
                                      {"why", "nobody"},  {"info", "foreign"},
                                      {"why", "foreign"}, {"check"},
                                      {"order"},          {"env"}};
    for (Texts words : commands) {
        words.insert(words.end(), {"--color", "never"});
        std::istringstream lines(run(words, 60).out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(qvp::columnsOf(line), 60U) << line;
            EXPECT_EQ(line.find('\033'), std::string::npos) << line;
        }
        words.back() = "always";
        EXPECT_NE(run(words).out.find("\033["), std::string::npos);
    }
    // Without one, nothing is wrapped.
    EXPECT_NE(run({"list"}).out.find(std::string(150, 'y')), std::string::npos);
    EXPECT_NE(run({"info", name}).out.find(path(name + ".qvp") + "\n"), std::string::npos);
}

}  // namespace
