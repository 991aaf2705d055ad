#pragma once

#include <string>

/// Sequences of calls, one per family of the public interface, that run while allocations or system calls
/// fail.
namespace faults {

struct Family {
    const char* name;
    void (*run)();
    void (*verify)() = nullptr;  ///< called after `run` returned or threw, when nothing fails any more
    bool failsWarm = false;      ///< only after a first run: oneTBB does not survive a failure when it starts
};

extern const Family kTextFamilies[6];
extern const Family kFileFamilies[4];
extern const Family kSystemFamilies[7];
extern const Family kPluginFamilies[3];

/// Null if there is none.
const Family* familyNamed(const std::string& name);
/// Calls `use` for each family.
template <typename Use>
void forEachFamily(Use use) {
    for (const Family& family : kTextFamilies) use(family);
    for (const Family& family : kFileFamilies) use(family);
    for (const Family& family : kSystemFamilies) use(family);
    for (const Family& family : kPluginFamilies) use(family);
}

/// Writes a line to the file that the variable QV_FAULTS_REPORT names, else to the standard output.
void report(const std::string& line);

/// Records a finding unless `right`, or `failed` is a documented failure and something may have failed.
void check(bool right, bool failed = false, int line = __builtin_LINE());
/// The number of findings, and whether documented failures count as right.
extern int findings;
extern bool mayFail;

/// Runs the sequence and records exceptions as findings, except `std::bad_alloc` if something may fail.
void runChecked(const Family& family);

/// A folder with a final "/" that `restoreFolder` clears; it contains the plugins "lower" and "upper", and
/// "lower.new", another version of the first. It is also the folder for temporary files.
const std::string& folder();
void makeFolder();
void restoreFolder();
void removeFolder();

}  // namespace faults
