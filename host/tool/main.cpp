#include <host/tool/Command.hpp>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

/// The exit code for a command line that makes no sense, as people expect it.
constexpr int usageError = 2;

int run(int argc, char** argv)
{
    CLI::App application{"A publish/subscribe service for VexaClient, and what belongs to it.", "vexa"};
    application.require_subcommand(1);
    application.set_version_flag("--version", "vexa " VEXA_VERSION);
    vexa::host::ChosenCommand chosen;
    vexa::host::addServeCommand(application, chosen);
    vexa::host::addSubCommand(application, chosen);
    vexa::host::addPubCommand(application, chosen);
    vexa::host::addEchoCommand(application, chosen);
    vexa::host::addTopCommand(application, chosen);
    vexa::host::addDemoCommand(application, chosen);
    vexa::host::addCompletionCommand(application, chosen);
    try {
        application.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return application.exit(error) == 0 ? 0 : usageError;
    }
    return chosen();
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vexa: %s\n", error.what());
        return 1;
    }
}
