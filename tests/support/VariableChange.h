#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace support {

/// Sets or removes an environment variable during its lifetime. ASCII values only.
class VariableChange {
public:
    VariableChange(const std::string& name, const std::optional<std::string>& value) : name_(name) {
        if (const char* previous = std::getenv(name.c_str())) previous_ = previous;
        assign(value);
    }
    VariableChange(const VariableChange&) = delete;
    VariableChange& operator=(const VariableChange&) = delete;
    ~VariableChange() { assign(previous_); }

private:
    void assign(const std::optional<std::string>& value) const {
#ifdef _WIN32
        _putenv_s(name_.c_str(), value.value_or("").c_str());  // the empty value removes it
#else
        if (value)
            setenv(name_.c_str(), value->c_str(), 1);
        else
            unsetenv(name_.c_str());
#endif
    }

    std::string name_;
    std::optional<std::string> previous_;
};

}  // namespace support
