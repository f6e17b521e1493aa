// brellow-cli as a user runs it: real processes, real packages.
#include <sys/wait.h>

#include <array>
#include <cstdio>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

struct CliRun {
    int exitCode;
    std::string out;
    std::string err;
};

std::string quote(const std::string& arg) {
    std::string quoted = "'";
    for (const char c : arg) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

CliRun cli(const std::vector<std::string>& args, const fs::path& dir) {
    std::string command =
        std::string("XDG_CACHE_HOME=") + quote((dir / "cache").string()) + " " + BRELLOW_CLI;
    for (const auto& arg : args)
        command += " " + quote(arg);
    const fs::path errFile = dir / "stderr.txt";
    command += " 2>" + quote(errFile.string());
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    std::array<char, 4096> buffer{};
    while (const std::size_t got = fread(buffer.data(), 1, buffer.size(), pipe))
        out.append(buffer.data(), got);
    const int status = pclose(pipe);
    return {WEXITSTATUS(status), out, test::readFile(errFile)};
}

}  // namespace

TEST(Cli, CreatesEditsShowsAndResavesAPackage) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    ASSERT_EQ(cli({"new", (dir / "Gala").string(), "--name", "Gala / Night"}, dir.path()).exitCode,
              0);
    ASSERT_TRUE(fs::is_directory(package / "Media"));
    EXPECT_NE(test::readFile(package / "show.json").find("Gala \\/ Night"), std::string::npos);

    const CliRun created =
        cli({"edit", package.string(), "createPage", R"({"name":" Act 2 "})"}, dir.path());
    ASSERT_EQ(created.exitCode, 0) << created.err;
    const CliRun shown = cli({"show", package.string()}, dir.path());
    ASSERT_EQ(shown.exitCode, 0);
    const auto show = nlohmann::json::parse(shown.out);
    EXPECT_EQ(show["pages"].size(), 2u);
    EXPECT_EQ(show["pages"][1]["name"], "Act 2");
    EXPECT_EQ(show["activePageID"].get<std::string>() + "\n", created.out);

    const fs::path copy = dir / "Copy.stingshow";
    ASSERT_EQ(cli({"resave", package.string(), copy.string()}, dir.path()).exitCode, 0);
    EXPECT_EQ(test::readFile(copy / "show.json"), test::readFile(package / "show.json"));
    EXPECT_TRUE(fs::is_empty(dir / "cache" / "org.brellow.Brellow"));  // working folders removed
}

TEST(Cli, FailuresSayWhyAndTouchNothing) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    ASSERT_EQ(cli({"new", package.string()}, dir.path()).exitCode, 0);
    const std::string before = test::readFile(package / "show.json");

    const CliRun missing = cli({"show", (dir / "none.stingshow").string()}, dir.path());
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "brellow-cli: show.json missing or unreadable\n");

    EXPECT_EQ(cli({"new", package.string()}, dir.path()).exitCode, 1);
    EXPECT_EQ(cli({"edit", package.string(), "setLoop", "{}"}, dir.path()).exitCode, 2);
    EXPECT_EQ(cli({"edit", package.string(), "play", "{}"}, dir.path()).exitCode, 2);
    EXPECT_EQ(cli({"edit", package.string(), "rename", "{not json"}, dir.path()).exitCode, 2);
    const CliRun unknown = cli({"edit", package.string(), "renamePage",
                                R"({"pageID":"11111111-2222-3333-4444-555555555555","name":"X"})"},
                               dir.path());
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_NE(unknown.err.find("nothing changed"), std::string::npos);
    EXPECT_EQ(cli({"frobnicate"}, dir.path()).exitCode, 2);
    EXPECT_EQ(test::readFile(package / "show.json"), before);
}

TEST(Cli, VerboseSendsLogLinesToStderr) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    ASSERT_EQ(cli({"new", package.string()}, dir.path()).exitCode, 0);
    const CliRun quiet = cli({"show", package.string()}, dir.path());
    const CliRun verbose = cli({"--verbose", "show", package.string()}, dir.path());
    EXPECT_EQ(verbose.err.find("Opened show with 1 page(s), 0 sting(s)") != std::string::npos,
              true);
    EXPECT_EQ(quiet.err.find("Opened show"), std::string::npos);
}

}  // namespace brellow
