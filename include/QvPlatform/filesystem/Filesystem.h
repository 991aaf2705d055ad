#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/File.h>

#include <cstdint>
#include <string>
#include <vector>

/// Operations that change the disk or search it. None throws but for lack of memory, and none logs; a
/// failure is false or empty, and what was done before it stays done.
///
///     for (const auto& file : QvPlatform::Filesystem::glob(dir, "*.qvp", true)) ...
///
/// Traps: hidden and system files (a leading dot on Linux) are neither found, copied nor removed, but
/// hidden directories are entered. A link is what it points to for the operations on files, and a leaf
/// for those on trees: they never pass through one, also not through one that appears meanwhile, and
/// `remove` takes the link away, not what it points to. A path that holds a zero byte names nothing. Trees
/// may have any depth. Any thread may call these functions; calls for the same paths race as on the disk,
/// and a thread is not cancelled within one that touches files.
namespace QvPlatform::Filesystem {

QV_API bool changeCurrentDirectory(const Directory& dir);

/// Copies a regular file, with permissions and modification time if the target's file system keeps them. An
/// existing target is replaced only with `overwrite`; a file is never copied onto itself. On failure the
/// target is as it was.
QV_API bool copy(const File& src, const File& dst, bool overwrite);
/// Under its own name into an existing directory.
QV_API bool copy(const File& src, const Directory& dst, bool overwrite);
/// Copies what `src` holds into `dst`, which is made when missing, with all subdirectories; stops at the
/// first failure. A link that leads to no file is copied as a link. Links inside `dst` are never written
/// through: with `overwrite` a file or link replaces one, and a directory fails where one is. False, and
/// nothing done, when `dst` is `src` or lies inside it.
QV_API bool copy(const Directory& src, const Directory& dst, bool overwrite);

/// Makes the directory and those above it that are missing. True also when it is there already.
QV_API bool create(const Directory& dir);
/// Makes an empty file, and its directory when that is missing. False when the file exists or the
/// directory cannot be made. Trap: true also when the system refuses the file itself; ask `exists`.
QV_API bool create(const File& file);

/// Removes what the directory holds, subdirectories first, and the directory; stops at the first failure.
/// False, with its other content gone, when it holds a hidden file.
QV_API bool remove(const Directory& dir);
QV_API bool remove(const File& file);

/// Gives another name in the same place. False when the new name is taken or holds a separator.
QV_API bool rename(const Directory& dir, const std::string& newName);
QV_API bool rename(const File& file, const std::string& newName);

/// The files whose whole names match a pattern: "*" stands for any bytes or none, "?" for exactly one,
/// ASCII letter case does not matter, and there is no escape. With `recursive` the matches of the
/// subdirectories come before those of `dir` itself; otherwise the system's order holds. A directory that
/// cannot be read counts as empty.
QV_API std::vector<File> glob(const Directory& dir, const std::string& pattern, bool recursive);
/// The same, appended to `out`.
QV_API void glob(const Directory& dir, const std::string& pattern, bool recursive, std::vector<File>& out);

/// Stores seconds since 1970, UTC. False when `time` is null or there is nothing at that path.
QV_API bool getLastModifiedTime(const File& file, std::int64_t* time);

/// `prefix`, "_", the process identifier, "_" and a number that starts at 1 and grows with each call in
/// this process; "" for ever once 4,294,967,295 names were made.
QV_API std::string createUniqueName(const std::string& prefix);

/// Makes an empty file in the temporary directory, with a name that nobody can guess, made of the
/// program's name and the prefix; on Linux for its owner alone. If the system's random source fails, the
/// name is made of the time instead. The result does not tell whether the file was made; ask `exists`. The
/// caller removes the file.
QV_API File createTempFile(const std::string& prefix);
/// The same, and the file removed: a name that was free a moment ago.
QV_API File createTempFileName(const std::string& prefix);

}  // namespace QvPlatform::Filesystem
