// What is found instead of a readable directory or a regular file. Linux only.

#include "CommandLine.h"

#include "QvPluginSystem/PluginFixture.h"
#include "support/ForkAsNobody.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <map>
#include <sstream>

namespace {

using Json = nlohmann::ordered_json;
using support::Texts;

class UnusablePathsTest : public support::PluginTest {
protected:
    Json json(const Texts& words) const {
        Texts arguments{"--dir", folder.path(), "--json"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        std::ostringstream out;
        EXPECT_EQ(qvp::runCommandLine(arguments, out, out), 1) << out.str();
        return Json::parse(out.str());
    }
};

TEST_F(UnusablePathsTest, aDirectoryThatCannotBeRead) {
    add("scene");
    chmod(folder.path().c_str(), 0);
    support::inForkAsNobody([this] {
        const Json check = json({"check"});
        EXPECT_EQ(check["problems"][0]["kind"], "directory");
        EXPECT_EQ(check["problems"][0]["text"],
                  "This directory, given by --dir, cannot be read: Permission denied");
        EXPECT_EQ(json({"list"})["directories"][0]["problem"], "cannot be read: Permission denied");
    });
    chmod(folder.path().c_str(), 0700);
}

}  // namespace
