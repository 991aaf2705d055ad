#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/File.h>

#include <cstdint>
#include <string>
#include <vector>

/// Operations that change or search the disk. They throw only if memory runs out, and do not log. On failure
/// they return false or an empty result; changes made before the failure are kept.
///
///     for (const auto& file : QvPlatform::Filesystem::glob(dir, "*.qvp", true)) ...
///
/// Traps: hidden files (a leading dot on Linux) and system files are not found, copied or removed, but hidden
/// directories are entered. File operations follow links. Tree operations treat a link as a leaf: they never
/// follow one, even if it appears during the operation, and `remove` removes the link, not its target. On
/// Linux a file is not copied through a link at `dst` that another user, except the superuser, has put into a
/// directory that others may write.
///
/// A path that contains a zero byte names nothing. Trees may have any depth. Any thread may call these
/// functions; concurrent calls for the same paths race as on the disk. A thread is not cancelled within a
/// function that accesses files.
namespace QvPlatform::Filesystem {

QV_API bool changeCurrentDirectory(const Directory& dir);

/// Copies a regular file, with its permissions and modification time if the target's file system stores them.
/// An existing target is replaced only with `overwrite`; a file is never copied onto itself. On failure the
/// target is unchanged.
QV_API bool copy(const File& src, const File& dst, bool overwrite);
/// Copies the file into an existing directory, keeping its name.
QV_API bool copy(const File& src, const Directory& dst, bool overwrite);
/// Copies the content of `src`, with all subdirectories, into `dst`, which is created if missing. Stops at
/// the first failure. A link that does not lead to a file is copied as a link. Links inside `dst` are never
/// followed: with `overwrite` a file or link replaces a link, and a directory fails where a link exists. If
/// `dst` is `src` or inside it, returns false and does nothing.
QV_API bool copy(const Directory& src, const Directory& dst, bool overwrite);

/// Creates the directory and its missing parents. True also if it already exists.
QV_API bool create(const Directory& dir);
/// Creates an empty file, and its directory if missing. False if the file exists or the directory cannot be
/// created. Trap: true even if the file itself cannot be created; check `exists`.
QV_API bool create(const File& file);

/// Removes the content of the directory, subdirectories first, then the directory; stops at the first
/// failure. If it contains a hidden file, removes its other content and returns false.
QV_API bool remove(const Directory& dir);
QV_API bool remove(const File& file);

/// Renames within the same directory. False if the new name exists or contains a separator.
QV_API bool rename(const Directory& dir, const std::string& newName);
QV_API bool rename(const File& file, const std::string& newName);

/// The files whose whole names match a pattern: "*" stands for any bytes or none, "?" for exactly one; ASCII
/// case is ignored, and there is no escape. With `recursive` the matches in subdirectories come before those
/// in `dir` itself; otherwise the order is the system's. A directory that cannot be read counts as empty.
QV_API std::vector<File> glob(const Directory& dir, const std::string& pattern, bool recursive);
/// The same, appended to `out`.
QV_API void glob(const Directory& dir, const std::string& pattern, bool recursive, std::vector<File>& out);

/// Stores seconds since 1970, UTC. False if `time` is null or the path does not exist.
QV_API bool getLastModifiedTime(const File& file, std::int64_t* time);

/// Returns `prefix`, "_", the process identifier, "_" and a number that starts at 1 and increases with each
/// call in this process. After 4,294,967,295 names, returns "" forever.
QV_API std::string createUniqueName(const std::string& prefix);

/// Creates an empty file in the temporary directory; on Linux only its owner has access. The name consists of
/// the program's name, the prefix and an unpredictable part, or the time if the system's random source fails.
/// The result does not show whether the file was created; check `exists`. The caller removes the file.
QV_API File createTempFile(const std::string& prefix);
/// The same, but removes the file and returns its name, which another process may take at any time.
QV_API File createTempFileName(const std::string& prefix);

}  // namespace QvPlatform::Filesystem
