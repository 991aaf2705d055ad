// Writes with the system call: a stream of the C runtime has a lock, which stays locked if the system kills
// the threads at the end of a process. Line ends are converted as such a stream does.

#include "os/OutputStream.h"

#include "os/win32/Windows.h"

#include <io.h>

#include <cstdio>

namespace os {
namespace {

constexpr std::size_t kPieceSize = 5000;  // a line of the log is written at once

HANDLE handleOf(AppendedFile file) { return reinterpret_cast<HANDLE>(file); }

struct TranslatedPiece {
    char text[2 * kPieceSize];
    DWORD length = 0;
};

void translate(std::string_view piece, TranslatedPiece& out) {
    out.length = 0;
    for (const char c : piece) {
        if (c == '\n') out.text[out.length++] = '\r';
        out.text[out.length++] = c;
    }
}

// Appends at the end, if the file has an end.
bool writeWhole(HANDLE handle, const TranslatedPiece& piece, bool atEnd) {
    OVERLAPPED end{};
    end.Offset = end.OffsetHigh = 0xFFFFFFFF;
    DWORD written = 0;
    return WriteFile(handle, piece.text, piece.length, &written, atEnd ? &end : nullptr) != 0 &&
           written == piece.length;
}

std::size_t write(HANDLE handle, std::string_view text, bool atEnd) noexcept {
    TranslatedPiece piece;
    std::size_t done = 0;
    while (done < text.size()) {
        const std::string_view next = text.substr(done, kPieceSize);
        translate(next, piece);
        if (!writeWhole(handle, piece, atEnd)) break;
        done += next.size();
    }
    return done;
}

}  // namespace

AppendedFile openForAppending(const std::string& path) {
    if (path.find('\0') != std::string::npos) return kNoFile;
    return reinterpret_cast<AppendedFile>(CreateFileW(base::widen(path).c_str(), GENERIC_WRITE,
                                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                      OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::size_t append(AppendedFile file, std::string_view text) noexcept {
    return write(handleOf(file), text, true);
}

void closeAppended(AppendedFile file) noexcept { CloseHandle(handleOf(file)); }

// The file of the C runtime's stream, which a program may have redirected. The stream's buffer is bypassed.
void writeToStandardError(std::string_view text) {
    const HANDLE handle = handleOf(_get_osfhandle(_fileno(stderr)));
    if (handle != INVALID_HANDLE_VALUE) write(handle, text, false);
}

// The system refuses to remove open files.
bool removeUnlessOpen(const std::string& path, std::string& error) {
    if (DeleteFileW(base::widen(path).c_str())) return true;
    error = win32::errorText(GetLastError());
    return false;
}

}  // namespace os
