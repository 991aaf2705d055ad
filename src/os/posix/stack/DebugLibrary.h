#pragma once

#include <elfutils/libdwfl.h>

namespace os::posix {

/// The functions of libdw, which is opened at run time and stays open. Members carry the library's names.
class DebugLibrary {
public:
    /// Null if the library is missing or is not open yet. The first call opens it on a thread of its own,
    /// because opening waits for the loader, which may be running a static initializer; no call waits for
    /// that thread longer than two seconds, and later calls do not wait again.
    static const DebugLibrary* get();

    decltype(::dwfl_begin)* dwfl_begin = nullptr;
    decltype(::dwfl_end)* dwfl_end = nullptr;
    decltype(::dwfl_errno)* dwfl_errno = nullptr;
    decltype(::dwfl_report_begin)* dwfl_report_begin = nullptr;
    decltype(::dwfl_report_end)* dwfl_report_end = nullptr;
    decltype(::dwfl_linux_proc_report)* dwfl_linux_proc_report = nullptr;
    decltype(::dwfl_linux_proc_find_elf)* dwfl_linux_proc_find_elf = nullptr;
    decltype(::dwfl_build_id_find_debuginfo)* dwfl_build_id_find_debuginfo = nullptr;
    decltype(::dwfl_module_build_id)* dwfl_module_build_id = nullptr;
    decltype(::dwfl_addrmodule)* dwfl_addrmodule = nullptr;
    decltype(::dwfl_module_info)* dwfl_module_info = nullptr;
    decltype(::dwfl_module_addrname)* dwfl_module_addrname = nullptr;
    decltype(::dwfl_module_addrdie)* dwfl_module_addrdie = nullptr;
    decltype(::dwfl_module_nextcu)* dwfl_module_nextcu = nullptr;
    decltype(::dwfl_module_getdwarf)* dwfl_module_getdwarf = nullptr;
    decltype(::dwarf_haspc)* dwarf_haspc = nullptr;
    decltype(::dwarf_getsrc_die)* dwarf_getsrc_die = nullptr;
    decltype(::dwarf_linesrc)* dwarf_linesrc = nullptr;
    decltype(::dwarf_lineno)* dwarf_lineno = nullptr;
    decltype(::dwfl_linux_proc_attach)* dwfl_linux_proc_attach = nullptr;
    decltype(::dwfl_getthread_frames)* dwfl_getthread_frames = nullptr;
    decltype(::dwfl_frame_pc)* dwfl_frame_pc = nullptr;

private:
    struct Opening;
    bool open(const char* name);
    bool resolveSession(void* library);
    bool resolveLookUps(void* library);
    bool resolveWalking(void* library);
};

}  // namespace os::posix
