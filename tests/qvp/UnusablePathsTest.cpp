// What is found instead of a readable directory or a regular file. Linux only.

#include "CommandLine.h"

#include "QvPluginSystem/PluginFixture.h"
#include "support/ForkAsNobody.h"

#include <nlohmann/json.hpp>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
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

TEST_F(UnusablePathsTest, filesThatAreNotRegular) {
    std::filesystem::create_symlink("/nowhere/x", path("link.qvp"));
    mkfifo(path("pipe.qvp").c_str(), 0600);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const support::CurrentDirectoryChange change(folder.path());  // the name must be short
    std::strcpy(address.sun_path, "socket.qvp");
    const int socketNumber = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(socketNumber, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(socketNumber);

    const std::map<std::string, std::string> expected{
        {"link", "it is a symbolic link to /nowhere/x, which does not exist"},
        {"pipe", "it is a named pipe, not a file"},
        {"socket", "it is a socket, not a file"}};
    std::map<std::string, std::string> found;
    const Json list = json({"list"});
    for (const Json& plugin : list["plugins"]) found[plugin["name"]] = plugin["problem"];
    EXPECT_EQ(found, expected);
    for (const auto& [name, problem] : expected)
        EXPECT_EQ(json({"why", name})["verdict"], name + " is not loaded: " + problem);
}

}  // namespace
