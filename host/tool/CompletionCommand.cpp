#include <host/tool/Command.hpp>
#include <host/tool/completion/CompletionScripts.hpp>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {

namespace {

std::string scriptFor(const std::string& shell, const CLI::App& application)
{
    const CommandShape program = shapeOf(application);
    if (shell == "bash") {
        return bashCompletion(program);
    }
    return shell == "zsh" ? zshCompletion(program) : fishCompletion(program);
}

} // namespace

void addCompletionCommand(CLI::App& application, ChosenCommand& chosen)
{
    CLI::App* const command = application.add_subcommand(
        "completion", "Print a script by which a shell completes the command lines of vexa.");
    const auto shell = std::make_shared<std::string>();
    command->add_option("shell", *shell, "The shell")
        ->required()
        ->type_name("SHELL")
        ->check(CLI::IsMember(std::vector<std::string>{"bash", "zsh", "fish"}));
    command->footer("To use it at once, and in every shell to come:\n"
                    "  bash  source <(vexa completion bash)\n"
                    "        vexa completion bash > ~/.local/share/bash-completion/completions/vexa\n"
                    "  zsh   source <(vexa completion zsh), after compinit\n"
                    "        vexa completion zsh > DIR/_vexa, in a folder of $fpath\n"
                    "  fish  vexa completion fish | source\n"
                    "        vexa completion fish > ~/.config/fish/completions/vexa.fish");
    command->callback([&application, shell, &chosen] {
        chosen = [script = scriptFor(*shell, application)] {
            const bool isWritten = std::fwrite(script.data(), 1, script.size(), stdout) == script.size();
            return isWritten && std::fflush(stdout) == 0 ? 0 : 1;
        };
    });
}

} // namespace vexa::host
