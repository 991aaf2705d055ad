#include <QvPlatform/system/Keyboard.h>
#include <QvPlatform/system/Registry.h>

#include "support/ChildProgram.h"
#include "support/LogCapture.h"
#include "system/ServiceStatus.h"

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#else
#include "os/posix/CapsLockLight.h"
#endif

namespace {

using namespace QvPlatform;
using support::comesTrue;
using support::LogCapture;
using Names = std::vector<std::string>;

TEST(Services, warnsOfAManagerOutOfReachOnly) {
    const LogCapture capture;
    EXPECT_EQ(detail::statusOf({5, std::nullopt}), eServiceStatusUnknown);
    const auto message = LogCapture::take().at(0);
    EXPECT_EQ(message.level, Qv::kLogLevelWarn);
    EXPECT_EQ(message.text, "QvPlatform::getServiceStatus failed, error code (5)\n");
    EXPECT_EQ(getServiceStatus("QvNotInstalled"), eServiceStatusUnknown);
    EXPECT_TRUE(LogCapture::take().empty());
}

/// Calls the function and expects its error code.
template <typename Call>
auto calling(Call call, long expectedError) {
    long error = 77;
    auto result = call(&error);
    EXPECT_EQ(error, expectedError);
    return result;
}

#ifdef _WIN32

const std::string kName = "Qv test \xE5\x90\x8D " + std::to_string(GetCurrentProcessId());
const std::wstring kWideName = L"Qv test \u540D " + std::to_wstring(GetCurrentProcessId());
const std::string kKey = "Software\\" + kName;
const std::wstring kWideKey = L"Software\\" + kWideName;

/// Removes the keys of the test.
class Registry : public testing::Test {
protected:
    ~Registry() override {
        RegDeleteTreeW(HKEY_CURRENT_USER, kWideKey.c_str());
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kWideKey.c_str());
    }
    static void set(bool user, const std::string& key, const std::string& value, const char* name = "v") {
        EXPECT_TRUE(calling([&](long* code) { return setRegistryValue(user, key, name, value, code); }, 0));
    }
    static std::string get(bool user, const std::string& key, long error = 0, const char* name = "v") {
        return calling([&](long* code) { return getRegistryValue(user, key, name, code); }, error);
    }
    static bool remove(const std::string& key, long error) {
        return calling([&](long* code) { return deleteRegistryKey(true, key, code); }, error);
    }
};

TEST_F(Registry, givesBackEachTextAsItWasStored) {
    Names texts = {"", "\xC3\xA9 \xE5\x90\x8D \xF0\x9F\x98\x80", "\xED\xA0\x80 alone", {"a\0b", 3}};
    for (const std::size_t length : {130U, 131U, 132U, 300'000U}) texts.emplace_back(length, 'x');
    for (const std::string& text : texts)
        for (const char* const name : {"", "\xC3\xA4"}) {
            set(name[0] == '\0', kKey + "\\made\\at once", text, name);
            EXPECT_EQ(get(name[0] == '\0', kKey + "\\MADE\\at once", 0, name), text);
        }
}

TEST_F(Registry, readsWhatOthersStoredAsText) {
    const auto readBack = [](DWORD type, const void* data, DWORD size, long error = 0) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kWideKey.c_str(), L"v", type, data, size), 0);
        return get(true, kKey, error);
    };
    for (const DWORD size : {6U, 8U, 12U}) EXPECT_EQ(readBack(REG_SZ, L"abc\0\0", size), "abc") << size;
    EXPECT_EQ(readBack(REG_SZ, L"ab", 3) + readBack(REG_SZ, L"\0\0", 6), "a");
    EXPECT_EQ(readBack(REG_EXPAND_SZ, L"%PATH%", 14), "%PATH%");
    for (const unsigned type : {0U + REG_BINARY, 0U + REG_MULTI_SZ, 0U + REG_NONE})
        for (const DWORD size : {0U, 4U, 2000U})
            EXPECT_EQ(readBack(type, std::string(size, 'x').data(), size, ERROR_UNSUPPORTED_TYPE), "");
}

TEST_F(Registry, asksTheUserBeforeTheMachine) {
    const auto getAny = [](long* error) { return getRegistryValue(kKey, "v", error); };
    EXPECT_EQ(calling(getAny, ERROR_FILE_NOT_FOUND), "");
    for (const char* text : {"machine", "user", ""}) {
        set(text != std::string("machine"), kKey, text);
        EXPECT_EQ(calling(getAny, 0), text);
    }
    EXPECT_EQ(get(true, kKey, ERROR_FILE_NOT_FOUND, "missing"), "");
    EXPECT_EQ(getRegistryValue("Qv missing", "v", nullptr), "");
}

TEST_F(Registry, listsAndDeletesKeys) {
    const auto list = [](long* error) { return getSubKeys(true, kKey, error); };
    EXPECT_EQ(calling(list, ERROR_FILE_NOT_FOUND), Names());
    const Names names = {"a", "b", std::string(255, 'c'), "d\xE5\x90\x8D"};
    for (const std::string& name : names) set(true, kKey + "\\" + name, "x");
    EXPECT_EQ(calling(list, 0), names);
    EXPECT_FALSE(remove(kKey, ERROR_ACCESS_DENIED));
    for (const std::string& name : names) EXPECT_TRUE(remove(kKey + "\\" + name, 0));
    EXPECT_EQ(calling(list, 0), Names());
    EXPECT_TRUE(remove(kKey, 0));
    EXPECT_FALSE(remove(kKey, ERROR_FILE_NOT_FOUND));
}

TEST(Services, tellsWhichOneRuns) {
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    const SC_HANDLE own =
        CreateServiceW(manager, kWideName.c_str(), nullptr, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                       SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, L"C:\\missing.exe", nullptr, nullptr,
                       nullptr, nullptr, nullptr);
    EXPECT_EQ(getServiceStatus(kName), eServiceStatusNotRunning);
    EXPECT_TRUE(DeleteService(own) && CloseServiceHandle(own) && CloseServiceHandle(manager));
    EXPECT_TRUE(comesTrue([] { return getServiceStatus(kName) == eServiceStatusUnknown; }));
    EXPECT_TRUE(comesTrue([] { return getServiceStatus("EventLog") == eServiceStatusRunning; }));
}

TEST(Keyboard, knowsCapsLockUnlessTheKeyIsHeld) {
    BYTE keys[256] = {};
    for (const int state : {0x00, 0x01, 0x80, 0x81}) {
        keys[VK_CAPITAL] = static_cast<BYTE>(state);
        EXPECT_EQ(SetKeyboardState(keys) && Keyboard::capsLockIsOn(), state == 0x01) << state;
    }
}

#else

TEST(Registry, isMissing) {
    const auto set = [](long* error) { return setRegistryValue(true, "k", "v", "x", error); };
    const auto remove = [](long* error) { return deleteRegistryKey(false, "k", error); };
    const auto list = [](long* error) { return getSubKeys(true, "k", error); };
    const auto get = [](long* error) { return getRegistryValue("k", "v", error); };
    EXPECT_FALSE(calling(set, ENOSYS) || set(nullptr) || calling(remove, ENOSYS) || remove(nullptr));
    EXPECT_TRUE(calling(list, ENOSYS).empty() && list(nullptr).empty());
    EXPECT_EQ(calling(get, ENOSYS) + get(nullptr), "");
}

TEST(Keyboard, knowsCapsLockByItsLights) {
    const support::TemporaryFolder folder;
    const auto isLitWith = [&](const std::string& light, const char* brightness) {
        std::filesystem::create_directory(folder.path() + light);
        support::writeFile(folder.path() + light + "/brightness", brightness);
        return os::posix::isCapsLockLit(folder.path());
    };
    EXPECT_FALSE(isLitWith("input1::numlock", "1\n") || isLitWith("input1::capslock", "0\n"));
    EXPECT_TRUE(isLitWith("input2::capslock", "1\n"));
    EXPECT_EQ(Keyboard::capsLockIsOn(), os::posix::isCapsLockLit("/sys/class/leds/"));
}

#endif

}  // namespace
