#include <QvPlatform/filesystem/File.h>

#include "commands/Documents.h"
#include "report/Completion.h"

#include <optional>
#include <set>

namespace qvp {
namespace {

std::string pluginNames(const Setting& setting) {
    std::set<std::string> names;
    for (const SearchDirectory& directory : setting.directories) {
        for (const std::string& path : pluginFilesIn(directory.path))
            names.insert(QvPlatform::File(path).getBaseName());
    }
    std::string text;
    for (const std::string& name : names) text += name + "\n";
    return text;
}

class CompletionCommand : public Command {
public:
    const char* name() const override { return "completion"; }
    const char* summary() const override { return "Prints a script that completes qvp in a shell"; }

    void addOptions(Syntax& syntax) override {
        syntax_ = syntax;
        syntax.add("SHELL", shell_, "The shell; names prints the plugins' names, for the scripts",
                   {.isRequired = true, .choices = {"bash", "zsh", "fish", "names"}});
    }

    Document run(const Setting& setting) override {
        if (shell_ == "names") return {{"ok", true}, {"shell", shell_}, {"text", pluginNames(setting)}};
        const auto write = shell_ == "bash"  ? bashCompletion
                           : shell_ == "zsh" ? zshCompletion
                                             : fishCompletion;
        return {{"ok", true}, {"shell", shell_}, {"text", write(syntax_->wordsOfProgram())}};
    }

    void print(const Document& document, Page& page) const override {
        page.verbatim(textOf(document, "text"));
    }

private:
    std::optional<Syntax> syntax_;
    std::string shell_;
};

}  // namespace

std::unique_ptr<Command> makeCompletionCommand() { return std::make_unique<CompletionCommand>(); }

}  // namespace qvp
