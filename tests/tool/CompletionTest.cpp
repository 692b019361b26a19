#include "TemporaryFile.hpp"
#include "ToolOutcome.hpp"
#include <host/tool/completion/CompletionScripts.hpp>

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Words = std::vector<std::string>;

/// What a command of the shell prints, and what it says when it fails.
std::string outputOf(const std::string& command)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe{::popen((command + " 2>&1").c_str(), "r"), ::pclose};
    std::string output;
    std::array<char, 4096> piece{};
    for (std::size_t count = std::fread(piece.data(), 1, piece.size(), pipe.get()); count > 0;
         count = std::fread(piece.data(), 1, piece.size(), pipe.get())) {
        output.append(piece.data(), count);
    }
    return output;
}

/// What bash offers for the last of the words.
Words offeredBy(const std::string& script, const Words& words)
{
    std::string line = "words=(";
    for (const std::string& word : words) {
        line += shellQuoted(word) + " ";
    }
    const TemporaryFile program{script + line +
                                ")\nCOMP_WORDS=(\"${words[@]}\") COMP_CWORD=$((${#words[@]} - 1))\n_vexa\n"
                                "[[ ${#COMPREPLY[@]} -eq 0 ]] || printf '%s\\n' \"${COMPREPLY[@]}\"\n"};
    std::istringstream output{outputOf("bash --norc " + program.path())};
    Words offered;
    for (std::string each; std::getline(output, each);) {
        offered.push_back(each);
    }
    return offered;
}

const std::string& bashScript()
{
    static const std::string script = outcomeOf({"completion", "bash"}).output;
    return script;
}

Words offered(const Words& words)
{
    return offeredBy(bashScript(), words);
}

bool holds(const Words& words, const std::string& word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

TEST(BashCompletion, isAScriptThatRegistersItself)
{
    const TemporaryFile script{bashScript()};
    EXPECT_EQ(outputOf("bash -n " + script.path()), "");
    EXPECT_EQ(outputOf("bash --norc -c 'source " + script.path() + "; complete -p vexa'"), "complete -F _vexa vexa\n");
}

TEST(BashCompletion, offersTheSubcommands)
{
    const Words all = offered({"vexa", ""});
    for (const char* const each : {"serve", "sub", "pub", "echo", "top", "demo", "completion"}) {
        EXPECT_TRUE(holds(all, each)) << each;
    }
    EXPECT_EQ(offered({"vexa", "s"}), (Words{"serve", "sub"}));
    EXPECT_EQ(offered({"vexa", "--v"}), (Words{"--version"}));
    EXPECT_EQ(offered({"vexa", "x"}), Words{});
}

TEST(BashCompletion, offersTheOptionsOfASubcommand)
{
    EXPECT_EQ(offered({"vexa", "top", "--int"}), (Words{"--interval"}));
    EXPECT_EQ(offered({"vexa", "top", "--once", "--tok"}), (Words{"--token-file"}));
    EXPECT_TRUE(holds(offered({"vexa", "sub", "topic", "-"}), "--since"));
    EXPECT_FALSE(holds(offered({"vexa", "sub", "-"}), "--interval"));
    EXPECT_TRUE(holds(offered({"vexa", "top", ""}), "--sort"));
}

TEST(BashCompletion, offersTheChoicesOfAValue)
{
    EXPECT_EQ(offered({"vexa", "top", "--sort", "re"}), (Words{"replayed"}));
    EXPECT_EQ(offered({"vexa", "top", "--sort", "=", "med"}), (Words{"median"}));
    EXPECT_TRUE(holds(offered({"vexa", "top", "--sort", "="}), "age"));
    EXPECT_EQ(offered({"vexa", "completion", ""}), (Words{"bash", "zsh", "fish"}));
    EXPECT_EQ(offered({"vexa", "top", "--interval", ""}), Words{}) << "any number";
}

TEST(BashCompletion, offersFilesWhereAFileIsWanted)
{
    const TemporaryFile file{""};
    const std::string beginning = file.path().substr(0, file.path().size() - 1);
    EXPECT_TRUE(holds(offered({"vexa", "top", "--ca", beginning}), file.path()));
    EXPECT_TRUE(holds(offered({"vexa", "serve", "--token-file", beginning}), file.path()));
    EXPECT_TRUE(holds(offered({"vexa", "pub", "t", "--token-file", "=", beginning}), file.path()));
    EXPECT_EQ(offered({"vexa", "sub", beginning}), Words{}) << "topics are no files";
}

TEST(BashCompletion, offersFilesWithBlanksWhole)
{
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vexa completion test";
    std::filesystem::create_directories(folder);
    EXPECT_EQ(offered({"vexa", "top", "--ca", folder.string().substr(0, folder.string().size() - 2)}),
              (Words{folder.string()}));
    std::filesystem::remove(folder);
}

/// A program whose texts hold what shells give a meaning to.
class AwkwardProgram {
public:
    AwkwardProgram()
    {
        application_.add_flag("--plain", isPlain_, "It's a flag: [50 %] of \\ `nothing` $HOME");
        application_.add_option("--profile", profile_, "A value before the command");
        CLI::App* const run = application_.add_subcommand("run", "Don't: [stop]");
        run->add_option("-l,--level", level_, "The level")->check(CLI::IsMember({"low", "high"}));
        run->add_option("input", input_, "What to read")->type_name("FILE");
        run->add_option("--hidden", hidden_, "Not for everyone")->group("");
    }

    [[nodiscard]] CommandShape shape() const { return shapeOf(application_); }

private:
    CLI::App application_{"", "vexa"};
    bool isPlain_ = false;
    std::string profile_;
    std::string level_;
    std::string input_;
    std::string hidden_;
};

TEST(CommandLineShape, isThatOfTheCommandLine)
{
    const CommandShape shape = AwkwardProgram{}.shape();
    EXPECT_EQ(shape.name, "vexa");
    ASSERT_EQ(shape.subcommands.size(), 1U);
    const CommandShape& run = shape.subcommands.front();
    EXPECT_EQ(run.name, "run");
    ASSERT_EQ(run.options.size(), 2U) << "help and level, and nothing that is hidden";
    EXPECT_EQ(run.options[1].names, (Words{"-l", "--level"}));
    EXPECT_TRUE(run.options[1].takesValue);
    EXPECT_EQ(run.options[1].value.choices, (Words{"low", "high"}));
    EXPECT_FALSE(run.options[0].takesValue);
    ASSERT_EQ(run.arguments.size(), 1U);
    EXPECT_EQ(run.arguments.front().value.kind, ValueShape::Kind::file);
    EXPECT_FALSE(run.arguments.front().isRepeated);
}

TEST(BashCompletion, knowsWhichWordIsTheSubcommand)
{
    const std::string script = bashCompletion(AwkwardProgram{}.shape());
    EXPECT_EQ(offeredBy(script, {"vexa", "--profile", "run", "r"}), (Words{"run"})) << "that was a value";
    EXPECT_EQ(offeredBy(script, {"vexa", "--profile", "x", "run", "--l"}), (Words{"--level"}));
    EXPECT_EQ(offeredBy(script, {"vexa", "run", "-l", "h"}), (Words{"high"}));
}

/// Whether a shell can read a script, in which it says nothing; nothing to check where it is not installed.
void expectReadable(const std::string& shell, const std::string& script)
{
    if (outputOf("command -v " + shell).empty()) {
        GTEST_SKIP() << shell << " is not installed";
    }
    const TemporaryFile file{script};
    EXPECT_EQ(outputOf(shell + " -n " + file.path()), "");
}

TEST(ZshCompletion, isAScriptThatZshReads)
{
    expectReadable("zsh", outcomeOf({"completion", "zsh"}).output + zshCompletion(AwkwardProgram{}.shape()));
}

TEST(FishCompletion, isAScriptThatFishReads)
{
    expectReadable("fish", outcomeOf({"completion", "fish"}).output + fishCompletion(AwkwardProgram{}.shape()));
}

TEST(ZshCompletion, describesOptionsAndTheirValues)
{
    const std::string script = zshCompletion(AwkwardProgram{}.shape());
    EXPECT_TRUE(script.starts_with("#compdef vexa\n"));
    EXPECT_NE(script.find(R"('--plain[It'\''s a flag\: \[50 %\] of \\ `nothing` $HOME]')"), std::string::npos)
        << script;
    EXPECT_NE(script.find("'(-l --level)--level=[The level]:TEXT:(low high)'"), std::string::npos) << script;
    EXPECT_NE(script.find("':FILE:_files'"), std::string::npos) << script;
}

TEST(FishCompletion, describesOptionsAndTheirValues)
{
    const std::string script = fishCompletion(AwkwardProgram{}.shape());
    EXPECT_NE(script.find("complete -c vexa -n __fish_use_subcommand -a run -d 'Don\\'t: [stop]'\n"), std::string::npos)
        << script;
    EXPECT_NE(
        script.find("complete -c vexa -n '__fish_seen_subcommand_from run' -s l -l level -x -a 'low high' -d 'The "
                    "level'\n"),
        std::string::npos)
        << script;
    EXPECT_NE(script.find("complete -c vexa -n '__fish_seen_subcommand_from run' -F\n"), std::string::npos) << script;
}

TEST(Completion, refusesShellsThatItDoesNotKnow)
{
    const ToolOutcome outcome = outcomeOf({"completion", "tcsh"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcomeOf({"completion"}).exitCode, 2);
}

} // namespace
} // namespace vexa::host
