// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Options.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OptionsTest : public testing::Test {
  protected:
    OptionsTest() {
        ::setenv("TALLYD_SOCKET", "/run/from/environment", 1);
        file_ = (std::filesystem::temp_directory_path() / "optionsXXXXXX").string();
        ::close(::mkstemp(file_.data()));
    }
    ~OptionsTest() override { std::filesystem::remove(file_); }

    Command parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), "tallyd");
        return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
    }
    const char* configured(const std::string& text) {
        std::ofstream(file_) << text;
        return file_.c_str();
    }

  private:
    std::string file_;
};

TEST_F(OptionsTest, ImportTakesAStoreAndInputsIncludingStandardInput) {
    const auto command = parse({"import", "--store", "s.db", "a.pcap", "-", "b.log"});
    const auto& options = std::get<ImportOptions>(command);
    EXPECT_EQ(options.store, "s.db");
    EXPECT_THAT(options.inputs, ElementsAre("a.pcap", "-", "b.log"));
}

TEST_F(OptionsTest, ServeNeedsAStoreAlone) {
    const auto command = parse({"serve", "--store", "s.db"});
    const auto& options = std::get<ServeOptions>(command);
    EXPECT_EQ(options.socket, "/run/from/environment");
    EXPECT_THAT(options.sources, IsEmpty());
    EXPECT_EQ(options.limits.queueRecords, IntakeLimits::live().queueRecords);
}

TEST_F(OptionsTest, TheCommandLineGoesBeforeTheConfigurationFile) {
    const char* file = configured("store = \"file.db\"\n"
                                  "socket = \"/file.sock\"\n"
                                  "sources = [\"replay:/a\", \"replay:/b@2\"]\n"
                                  "[limits]\n"
                                  "queue_records = 5000\n"
                                  "batch_milliseconds = 20\n");
    const auto fromFile = std::get<ServeOptions>(parse({"serve", "--config", file}));
    EXPECT_EQ(fromFile.store, "file.db");
    EXPECT_EQ(fromFile.socket, "/file.sock");
    EXPECT_THAT(fromFile.sources, ElementsAre("replay:/a", "replay:/b@2"));
    EXPECT_EQ(fromFile.limits.queueRecords, 5000u);
    EXPECT_EQ(fromFile.limits.batchAge, std::chrono::milliseconds(20));

    const auto both = std::get<ServeOptions>(
        parse({"serve", "--config", file, "--source", "replay:/c", "--socket", "/line.sock",
               "--source", "replay:/d", "--store", "line.db"}));
    EXPECT_EQ(both.store, "line.db");
    EXPECT_EQ(both.socket, "/line.sock");
    EXPECT_THAT(both.sources, ElementsAre("replay:/c", "replay:/d"));
}

TEST_F(OptionsTest, LimitsAndWhatPrefixesMeanAreTakenFromTheFile) {
    const char* file = configured("store = \"s\"\n"
                                  "[actions]\n"
                                  "passed = [\"drop test \", \"audit\"]\n"
                                  "blocked = [\"Quarantine\"]\n"
                                  "[retention]\n"
                                  "days = 30\n"
                                  "megabytes = 64\n"
                                  "[limits]\n"
                                  "connections = 100\n"
                                  "connections_per_user = 50\n"
                                  "requests_per_connection = 40\n"
                                  "queries_per_connection = 8\n"
                                  "message_kilobytes = 128\n"
                                  "live_queue_records = 2000\n"
                                  "workers = 2\n");
    const auto options = std::get<ServeOptions>(parse({"serve", "--config", file}));
    const std::vector<ActionPattern> expected{
        {"drop test", Action::pass}, {"audit", Action::pass}, {"Quarantine", Action::block}};
    EXPECT_EQ(options.actions, expected);
    EXPECT_EQ(options.limits.retention.age, std::chrono::hours(30 * 24));
    EXPECT_EQ(options.limits.retention.bytes, 64'000'000u);
    const ServerLimits clients{.connections = 100,
                               .connectionsPerUser = 50,
                               .requestsPerConnection = 40,
                               .queriesPerConnection = 8,
                               .messageBytes = 131072,
                               .liveQueueRecords = 2000,
                               .workers = 2};
    EXPECT_EQ(options.clients, clients);

    // The list that stands first is looked through first.
    const char* turned = configured("store = \"s\"\n"
                                    "[actions]\n"
                                    "blocked = [\"all\"]\n"
                                    "passed = [\"all gone\"]\n");
    const auto other = std::get<ServeOptions>(parse({"serve", "--config", turned}));
    EXPECT_EQ(ActionPatterns(other.actions).actionOf("all gone"), Action::block);
}

TEST_F(OptionsTest, AMistakeInTheConfigurationIsToldWithItsLine) {
    const struct {
        const char* text;
        const char* told;
    } cases[] = {
        {"store = \"a\"\nsokcet = \"b\"\n", ":2: unknown key \"sokcet\""},
        {"store = 7\n", ":1: \"store\" must be a text"},
        {"\nsources = \"replay:/a\"\n", ":2: \"sources\" must be a list of texts"},
        {"[limits]\nbatch_records = 0\n", ":2: \"batch_records\" must be positive"},
        {"[limits]\nspeed = 1\n", ":2: unknown key \"limits.speed\""},
        {"[limits]\n\nconnections = 7\n", ":3: \"connections\" must be 8 or more"},
        {"[limits]\nconnections = 4097\n", ":2: \"connections\" must be 4096 or less"},
        {"[limits]\nmessage_kilobytes = 1.5\n", ":2: \"message_kilobytes\" must be a whole number"},
        {"[limits]\nworkers = 0\n", ":2: \"workers\" must be positive"},
        {"[limits]\nbatch_milliseconds = 60000\n",
         ":2: \"batch_milliseconds\" must be 10000 or less"},
        {"[retention]\ndays = 0\n", ":2: \"days\" must be positive"},
        {"[retention]\n\ndays = \"90\"\n", ":3: \"days\" must be a whole number"},
        {"[retention]\ndays = 1\nmegabytes = 63\n", ":3: \"megabytes\" must be 64 or more"},
        {"[retention]\nmegabytes = 10000000000\n", ":2: \"megabytes\" must be 2147483647 or less"},
        {"[retention]\nz = 1\nmegabytes = 1\n", ":2: unknown key \"retention.z\""},
        {"retention = 90\n", ":1: \"retention\" must be a table"},
        {"actions = [\"drop\"]\n", ":1: \"actions\" must be a table"},
        {"[actions]\nblocked = \"x\"\n", ":2: \"actions.blocked\" must be a list of texts"},
        {"[actions]\npassed = [1]\n", ":2: \"actions.passed\" must be a list of texts"},
        {"[actions]\npassed = [\n\"a\",\n\" \"]\n", ":4: \"actions.passed\": a pattern is empty"},
        {"[actions]\npassed = [\"no\"]\nblocked = [\n\"NO \"]\n",
         ":4: pattern \"NO\": is named twice"},
        {"[actions]\nrejected = []\n", ":2: unknown key \"actions.rejected\""},
        {"store = \"a\"\nstore\n", ":2: not understood"},
        {"sources = [\n\"replay:/a\",\n\"odd:x\"]\n", ":3: source \"odd:x\""},
        {"sources = [\n\"nflog:5\",\n\n\"nflog:5\"]\n", ":4: source \"nflog:5\": is named twice"},
        // The first of several, whatever their keys.
        {"store = \"a\"\nz = 1\na = 1\nm = 1\nb = 1\nq = 1\n", ":2: unknown key \"z\""},
        {"sources = [\"odd:x\"]\nstore = 7\n", ":1: source \"odd:x\""},
        {"sources = [\"odd\\n:x\"]\n", ":1: source \"odd :x\""},
    };
    for (const auto& mistake : cases) {
        const auto message = std::get<Message>(
            parse({"serve", "--store", "s", "--config", configured(mistake.text)}));
        EXPECT_TRUE(message.isError);
        EXPECT_THAT(message.text, HasSubstr(mistake.told));
    }
    EXPECT_THAT(readConfiguration("/no/such/file").error(), HasSubstr("/no/such/file"));
}

TEST_F(OptionsTest, AConfigurationNestedWithoutEndIsAMistakeAndEndsNobody) {
    const auto repeated = [](const char* text) {
        std::string many;
        for (int i = 0; i < 100'000; ++i)
            many += text;
        return many;
    };
    for (const std::string& text : {"\na = " + repeated("["), "\na = " + repeated("{a="),
                                    "\n[" + repeated("a.") + "a]", "\n" + repeated("a.") + "a=1"}) {
        const auto read = readConfiguration(configured(text));
        ASSERT_FALSE(read);
        EXPECT_THAT(read.error(), HasSubstr(":2: this is nested too deeply"));
    }
    // What stands in texts and comments is none.
    const std::string brackets(100, '[');
    const auto read = readConfiguration(configured("# " + brackets + "\nstore = \"\\\"" + brackets +
                                                   "\"\nsocket = '''\n" + brackets + "''' # " +
                                                   brackets + "\n[actions]\nblocked = [\"" +
                                                   brackets + "\", '" + brackets + "a']\n"));
    ASSERT_TRUE(read) << read.error();
    EXPECT_EQ(read->store, "\"" + brackets);
}

TEST_F(OptionsTest, AFileIsCheckedWithoutServing) {
    const auto check = [&](const char* text) {
        return std::get<Message>(parse({"serve", "--check-config", "--config", configured(text)}));
    };
    const Message fine = check("store = \"s\"\nsources = [\"nflog:5\"]\n");
    EXPECT_FALSE(fine.isError);
    EXPECT_THAT(fine.text, HasSubstr(": no mistakes, sources: 1\n"));
    const Message wrong = check("store = \"s\"\n[limits]\nbatch_records = \"many\"\n");
    EXPECT_TRUE(wrong.isError);
    EXPECT_THAT(wrong.text, HasSubstr(":3: \"batch_records\" must be a whole number\n"));
    EXPECT_THAT(check("sources = []\n").text, HasSubstr(": \"store\" is missing\n"));
    EXPECT_TRUE(std::get<Message>(parse({"serve", "--store", "s", "--check-config"})).isError);
}

TEST_F(OptionsTest, WrongUsageIsAnErrorAndHelpIsNot) {
    const std::vector<std::vector<const char*>> wrong = {
        {},
        {"import", "a.pcap"},
        {"import", "--store", "s"},
        {"serve"},
        {"listen"},
        {"serve", "--store", "s", "--speed"},
        {"serve", "--store", "s", "stray"},
        {"serve", "--store", "s", "--source", "nflog:many"},
        {"serve", "--store", "s", "--source", "nflog:5", "--source", "nflog:5"},
    };
    for (const auto& arguments : wrong)
        EXPECT_TRUE(std::get<Message>(parse(arguments)).isError);
    for (const char* option : {"--help", "--version"})
        EXPECT_FALSE(std::get<Message>(parse({option})).isError);
    EXPECT_EQ(std::get<Message>(parse({"--version"})).text, programVersion() + "\n");
}

} // namespace
} // namespace brindle::tallyd
