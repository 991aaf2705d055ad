// The system first tells quickly which threads may be in the library; only their stacks are then read by
// `StackWalker`, which names functions but opens the symbol library.

#include "QvPluginSystem/LibraryUsers.h"

#include "base/Demangle.h"
#include "os/CallStack.h"
#include "os/MappedLibraries.h"
#include "os/ProcessInfo.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

namespace QvPluginSystem {
namespace {

// The code of an object is that of its table of virtual functions.
template <typename Object>
const void* tableOf(const Object* object) {
    const void* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(object), sizeof table);
    return table;
}

// Adds the types of those objects whose code is in the library. Neighbours are usually of the same type.
template <typename Objects>
void addTypes(const Objects& objects, const void* library, const std::string& kind,
              std::set<std::string>& types) {
    const void* last = nullptr;
    for (const auto* object : objects) {
        const void* const table = tableOf(object);
        if (std::exchange(last, table) == table) continue;
        if (os::libraryContaining(table) == library) types.insert(kind + base::typeName(*object));
    }
}

// The innermost of the library's functions that the thread is in; "" if it has no name or the stack cannot be
// read, null if there is none.
std::optional<std::string> functionOnStack(const void* library, unsigned long thread) {
    const auto walker = os::makeStackWalker(os::processId(), nullptr, {}, [](const std::string&) {});
    std::string ignored;
    if (walker->start({nullptr, thread}, nullptr, ignored) != 0) return std::string();
    for (;;) {
        os::StackFrame frame;
        if (walker->next(frame) != 0) return std::string();
        if (frame.programCounter == 0) return std::nullopt;
        const std::uintptr_t address = frame.programCounter - (frame.isInterrupted ? 0 : 1);
        if (os::libraryContaining(std::bit_cast<const void*>(address)) == library)
            return walker->describe(frame).function;
    }
}

// Which threads would crash if the library were closed; "" if none.
std::string threadsThatStay(const void* library) {
    std::string text;
    for (const unsigned long thread : os::threadsIn(library)) {
        const auto function = functionOnStack(library, thread);
        if (!function) continue;
        text += (text.empty() ? "thread " : ", thread ") + std::to_string(thread) + " is still in ";
        text += function->empty() ? "one of its functions" : *function;
    }
    return text;
}

}  // namespace

std::string usersOf(const void* library, const ObjectPool& pool, const ListenerList& listeners) {
    std::set<std::string> types;
    addTypes(pool.objects(), library, "object ", types);
    addTypes(listeners.listeners(), library, "listener ", types);
    std::string text;
    for (const std::string& type : types)
        text += (text.empty() ? "what is still published or registered belongs to it: " : ", ") + type;
    const std::string threads = threadsThatStay(library);
    return text + (text.empty() || threads.empty() ? "" : "; ") + threads;
}

}  // namespace QvPluginSystem
