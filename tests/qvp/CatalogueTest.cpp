#include "CommandLine.h"
#include "QvPluginSystem/rules/PluginRules.h"
#include "inspect/Catalogue.h"

#include "QvPluginSystem/PluginFixture.h"
#include "support/Platform.h"
#include "support/SmallStack.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <sstream>

namespace {

using support::Texts;

/// On Windows the manager stores a path as the dependent spells it.
std::string identityOf(const std::string& path) {
    return QvPluginSystem::rules::foldedName(QvPlatform::File(path).toUniversalPath());
}

/// Records what a manager reports while it loads and unloads.
class Witness : public QvPluginSystem::QvPluginManagerListener {
public:
    Witness() { QvPluginSystem::QvPluginManager::addListener(this); }
    ~Witness() override { QvPluginSystem::QvPluginManager::removeListener(this); }

    void onPluginError(const std::string& file, const QvPluginSystem::QvPluginInfo*,
                       const std::string& error) override {
        firstErrors.emplace(identityOf(file), error);
    }
    bool onAboutToUninitialize(const QvPluginSystem::QvPluginInfo& info) override {
        unloaded.push_back(info.name);
        return true;
    }

    std::map<std::string, std::string> firstErrors;
    Texts unloaded;
};

class CatalogueTest : public support::PluginTest {
protected:
    /// Searches only these directories, not the default one.
    std::vector<qvp::SearchDirectory> searchOnly(const Texts& paths) const {
        const std::string standard = manager->getPluginSearchDirs().front();
        manager->addPluginSearchDir(standard);
        manager->removePluginSearchDir(standard);
        std::vector<qvp::SearchDirectory> directories;
        for (const std::string& directory : paths) {
            manager->addPluginSearchDir(directory);
            directories.push_back({directory, "--dir", true, 0});
        }
        return directories;
    }

    static qvp::Catalogue catalogueOf(const std::vector<qvp::SearchDirectory>& directories) {
        return {directories, {}, {}, [](std::size_t, std::size_t) {}};
    }

    static Texts namesAt(const qvp::Catalogue& catalogue, const std::vector<std::size_t>& places) {
        Texts names;
        for (const std::size_t place : places) names.push_back(catalogue.entries()[place].name());
        return names;
    }
};

/// The files that failed, with the reason, unless it is that the plugin does not describe itself.
std::string unexpectedFailuresIn(const qvp::Catalogue& catalogue) {
    std::string text;
    for (const qvp::Entry& entry : catalogue.entries()) {
        const qvp::Step* const step = entry.inspection.firstStep(qvp::StepState::failed);
        if (step && step->name != qvp::StepName::descriptor)
            text.append(entry.path).append(": ").append(step->text).append("\n");
    }
    return text;
}

// A circle of all of them, and all but one of them in a row.
TEST_F(CatalogueTest, aLongChainTakesNoStack) {
    constexpr std::size_t kLength = 300;
    add("p0", {"needs p" + std::to_string(kLength - 1) + " 0"});
    for (std::size_t i = 1; i < kLength; ++i)
        add("p" + std::to_string(i), {"needs p" + std::to_string(i - 1) + " 0"});
    const auto directories = searchOnly({folder.path()});
    support::onSmallStack([&] {
        const qvp::Catalogue circle = catalogueOf(directories);
        ASSERT_EQ(circle.cycles().size(), 1U);
        EXPECT_EQ(circle.cycles().front().size(), kLength + 1);
        EXPECT_EQ(circle.initializationOrder().size(), 0U);
        support::writeFile(path("p0.txt"), "name p0\n");
        EXPECT_EQ(catalogueOf(directories).initializationOrder().size(), kLength);
    });
}

/// Uses few names for many files, so that there are cycles, duplicate names and files that are named
/// differently from their plugin.
class CatalogueAgainstManagerTest : public CatalogueTest, public testing::WithParamInterface<unsigned> {
protected:
    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
    }
    std::string anyName() { return std::string(1, "abcdefgh"[below(8)]); }
    static std::string capital(const std::string& name) {
        return std::string(1, static_cast<char>(name[0] - 'a' + 'A'));
    }

    std::string anyNeed() {
        const std::string names[] = {"nowhere", capital(anyName()), anyName() + ".qvp"};
        const std::size_t lot = below(16);
        return "needs " + (lot < 3 ? names[lot] : anyName()) + " 1." +
               std::to_string(below(8) == 0 ? 3 : below(2));
    }

    std::string anyScript(const std::string& fileName) {
        const std::string oddities[] = {"describe throw\n", "name \n", "name " + anyName() + "\n",
                                        "name " + capital(fileName) + "\n"};
        const std::size_t lot = below(12);
        std::string script = lot < 4 ? oddities[lot] : "";
        script +=
            "version 1." + std::to_string(below(4)) + "\ncompatibility 1." + std::to_string(below(2)) + "\n";
        for (std::size_t count = below(3); count > 0; --count) script += anyNeed() + "\n";
        return script + "name " + fileName + "\n";
    }

    /// Under Wine, one child process in some thousands does not start.
    static qvp::Catalogue inspectRetrying(const std::vector<qvp::SearchDirectory>& directories) {
        qvp::Catalogue first = catalogueOf(directories);
        const std::string failures = unexpectedFailuresIn(first);
        if (failures.empty()) return first;
        std::cerr << failures;
        EXPECT_TRUE(support::kWindows);
        return catalogueOf(directories);
    }

    void addPlugins() {
        const Texts places{"first/", "first/", "second/", "second/", "current/"};
        std::set<std::string> taken;
        for (int i = 0; i < 12; ++i) {
            const std::string name = anyName();
            const std::string place = places[below(places.size())];
            // Without the extension it is found only by a dependency's name.
            const std::string extension = place == "current/" || below(10) == 0 ? "" : ".qvp";
            if (!taken.insert(place + name).second) continue;
            support::writeFile(path(place + name + ".txt"), anyScript(name));
            addCopy("scripted.qvp", place + name + extension);
        }
    }

    /// `why` says of each file what `list` and the manager say.
    static void expectSameFromWhy(const qvp::Catalogue& catalogue,
                                  const std::vector<qvp::SearchDirectory>& directories) {
        for (const qvp::Entry& entry : catalogue.entries()) {
            if (!entry.isListed) continue;
            Texts arguments{"--json", "why", entry.path};
            for (const qvp::SearchDirectory& directory : directories)
                arguments.insert(arguments.end(), {"--dir", directory.path});
            std::ostringstream out;
            std::ostringstream errors;
            qvp::runCommandLine(arguments, out, errors);
            const auto why = nlohmann::ordered_json::parse(out.str());
            EXPECT_EQ(why["plugin"]["problem"], entry.problem) << out.str();
            const std::string last = why["steps"][9]["state"];
            EXPECT_EQ(last, entry.isInitialized ? "ok" : "notReached") << out.str();
        }
    }

private:
    std::mt19937 random_{GetParam()};
};

TEST_P(CatalogueAgainstManagerTest, tellsBeforehandWhatTheManagerDoes) {
    const auto directories = searchOnly({folder.addDirectory("first"), folder.addDirectory("second")});
    const support::CurrentDirectoryChange change(folder.addDirectory("current"));
    addPlugins();
    const qvp::Catalogue catalogue = inspectRetrying(directories);
    Witness witness;

    manager->loadAllQvp();
    Texts loaded;
    for (const auto* info : manager->getPlugins()) loaded.push_back(identityOf(info->path));
    Texts expected;
    for (const std::size_t place : catalogue.initializationOrder())
        expected.push_back(identityOf(catalogue.entries()[place].path));
    EXPECT_EQ(expected, loaded);
    for (const qvp::Entry& entry : catalogue.entries()) {
        if (entry.isInitialized) continue;
        EXPECT_EQ(entry.problem, witness.firstErrors[identityOf(entry.path)]) << entry.path;
    }

    manager->unloadAll();
    EXPECT_EQ(namesAt(catalogue, catalogue.unloadOrder()), witness.unloaded);
    for (int i = 0; i < 12; ++i) manager->unloadAll();         // with duplicate names, one may have stayed
    constexpr unsigned kAskedWhy = support::kWindows ? 1 : 6;  // a process for each plugin takes long there
    if (GetParam() < kAskedWhy) expectSameFromWhy(catalogue, directories);
}

INSTANTIATE_TEST_SUITE_P(Seeds, CatalogueAgainstManagerTest, testing::Range(0U, 24U));

TEST_F(CatalogueTest, cyclesAreClosedPathsEachOnce) {
    add("a", {"needs b 1.0", "needs b 1.0"});
    add("b", {"needs c 2.0", "needs a 1.0"});
    add("c", {"needs a 3.0"});
    add("self", {"needs SELF 0"});
    add("outside", {"needs a 0"});
    const qvp::Catalogue catalogue = catalogueOf(searchOnly({folder.path()}));
    std::vector<Texts> cycles;
    for (const auto& path : catalogue.cycles()) {
        cycles.push_back(namesAt(catalogue, path));
        EXPECT_EQ(cycles.back().front(), cycles.back().back());
        cycles.back().pop_back();
        std::sort(cycles.back().begin(), cycles.back().end());
    }
    std::sort(cycles.begin(), cycles.end());
    EXPECT_EQ(cycles, (std::vector<Texts>{{"a", "b"}, {"a", "b", "c"}, {"self"}}));
}

}  // namespace
