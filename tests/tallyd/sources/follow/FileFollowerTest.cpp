// SPDX-License-Identifier: BSD-2-Clause
//
// Every line once, in the order of writing, whatever happens to the file. The lines of each case
// are numbered as they are written.
#include "tallyd/sources/follow/FileFollower.h"

#include "tests/tallyd/sources/follow/LogFolder.h"

#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

/// A writer and a follower of the same log, taking turns.
class Scene {
  public:
    LogFolder folder;
    std::vector<std::string> seen;
    std::uint64_t tooLong = 0;
    std::uint64_t cutShort = 0;

    /// The next line, to the log or to what it is called by now.
    void line(const std::string& name = "log") {
        folder.append("line " + std::to_string(++written_) + "\n", name);
    }
    /// The follower reads what there is.
    void look() {
        if (!follower_ && !start())
            return;
        for (;;) {
            const auto found = follower_->next();
            ASSERT_TRUE(found) << found.error();
            tooLong += found->tooLong;
            cutShort += found->cutShort;
            for (std::string_view rest = found->text; !rest.empty();) {
                const auto end = rest.find('\n');
                ASSERT_NE(end, rest.npos);
                seen.emplace_back(rest.substr(0, end));
                rest.remove_prefix(end + 1);
            }
            if (found->text.empty())
                return;
            ASSERT_TRUE(follower_->position());
            position_ = FilePosition::parse(follower_->position()->text());
            ASSERT_EQ(position_, follower_->position());
        }
    }
    /// The daemon ends; the next look is another run's.
    void end() { follower_.reset(); }

    std::vector<std::string> allLines() const {
        std::vector<std::string> lines;
        for (int number = 1; number <= written_; ++number)
            lines.push_back("line " + std::to_string(number));
        return lines;
    }

  private:
    /// False while there is no log to begin with.
    bool start() {
        auto follower =
            std::make_unique<FileFollower>(folder.path(), std::make_unique<LineFraming>());
        if (!follower->open(position_))
            return false;
        follower_ = std::move(follower);
        return true;
    }

    std::unique_ptr<FileFollower> follower_;
    std::optional<FilePosition> position_;
    int written_ = 0;
};

struct Case {
    const char* name;
    std::function<void(Scene&)> play;
};

void PrintTo(const Case& one, std::ostream* out) {
    *out << one.name;
}

class EveryLineOnce : public testing::TestWithParam<Case> {};

TEST_P(EveryLineOnce, InTheOrderOfWriting) {
    Scene scene;
    scene.line();
    scene.line();
    scene.look();
    GetParam().play(scene);
    scene.look();
    EXPECT_EQ(scene.seen, scene.allLines());
    EXPECT_EQ(scene.cutShort, 0u);
}

const Case kCases[]{
    {"Grows", [](Scene& s) { s.line(); }},
    {"Restart",
     [](Scene& s) {
         s.end();
         s.line();
     }},
    {"RestartWithoutNews",
     [](Scene& s) {
         s.end();
         s.look();
         s.line();
     }},
    {"HalfALineWaits",
     [](Scene& s) {
         s.folder.append("li");
         s.look();
         s.end();
         s.look();
         s.folder.append("ne 3");
         s.look();
         EXPECT_EQ(s.seen.size(), 2u);
         s.folder.append("\n");
         s.look();
         EXPECT_EQ(s.seen.back(), "line 3");
         s.seen.pop_back();
     }},
    {"Renamed",
     [](Scene& s) {
         s.line();
         s.folder.rename("log", "log.1");
         s.line();
     }},
    {"WriterStaysInTheRenamedFile",
     [](Scene& s) {
         s.folder.rename("log", "log.1");
         s.line("log.1");
         s.look();
         s.folder.append(""); // the new file is made before the writer moves
         s.look();
         s.line("log.1");
         s.look();
         s.line("log.1");
         s.line();
     }},
    {"RenamedTwiceBetweenLooks",
     [](Scene& s) {
         s.line();
         s.folder.rename("log", "log.1");
         s.line();
         s.folder.rename("log.1", "log.2");
         s.folder.rename("log", "log.1");
         s.line();
     }},
    {"RenamedToDates",
     [](Scene& s) {
         s.end();
         s.line();
         s.folder.rename("log", "log-20260607");
         s.line();
         s.folder.rename("log", "log-20260608");
         s.line();
     }},
    {"RenamedThriceWhileAway",
     [](Scene& s) {
         s.end();
         for (int i = 10; i >= 8; --i) {
             s.line();
             s.folder.rename("log", "log." + std::to_string(i));
         }
         s.line();
     }},
    {"RenamedWhileAwayAndNothingNewYet",
     [](Scene& s) {
         s.end();
         s.line();
         s.folder.rename("log", "log.1");
         s.folder.append("");
         s.look();
         s.line("log.1");
         s.look();
         s.end();
         s.line("log.1");
         s.look();
         s.line("log.1");
         s.line();
     }},
    {"StoppedInARenamedFile",
     [](Scene& s) {
         s.folder.rename("log", "log.1");
         s.line("log.1");
         s.look();
         s.end();
         s.line("log.1");
         s.line();
     }},
    {"CopiedAndTruncated",
     [](Scene& s) {
         s.line();
         s.folder.copy("log", "log.1");
         s.folder.truncate();
         s.look();
         s.line();
     }},
    {"TruncatedAndGrownBeyondThePlace",
     [](Scene& s) {
         s.line();
         s.folder.copy("log", "log.1");
         s.folder.truncate();
         for (int i = 0; i < 10; ++i)
             s.line();
     }},
    {"TruncatedWhileAway",
     [](Scene& s) {
         s.end();
         s.line();
         s.folder.copy("log", "log.1");
         s.folder.truncate();
         for (int i = 0; i < 10; ++i)
             s.line();
     }},
    {"CopiedAndTruncatedTwiceWhileAway",
     [](Scene& s) {
         s.end();
         s.line();
         s.folder.copy("log", "log.2");
         s.folder.truncate();
         s.line();
         s.folder.copy("log", "log.1");
         s.folder.truncate();
         s.line();
     }},
    {"TruncatedUnderAWriterThatKeepsItsPlace",
     [](Scene& s) {
         s.folder.truncate();
         s.folder.truncate(700'000); // a hole
         s.line();
     }},
    {"RemovedAndMadeAgain",
     [](Scene& s) {
         s.folder.remove();
         s.look();
         s.line();
     }},
    {"RemovedAndMadeAgainWhileAway",
     [](Scene& s) {
         // The file system gives the number to the new file as a rule; the text tells.
         s.end();
         s.folder.remove();
         for (int i = 0; i < 5; ++i)
             s.line();
     }},
    {"OlderFilesAreNotRead",
     [](Scene& s) {
         s.folder.append("older\n", "log.3");
         s.folder.append("older\n", "log.2");
         s.folder.append("older\n", "log-20200101");
         s.folder.append("packed\n", "log.0.gz");
         s.end();
         s.folder.rename("log", "log.1");
         s.line();
     }},
    {"MoreThanIsReadAtATime",
     [](Scene& s) {
         for (int i = 0; i < 60'000; ++i)
             s.line();
         s.folder.rename("log", "log.1");
         s.line();
     }},
};

INSTANTIATE_TEST_SUITE_P(FileFollower, EveryLineOnce, testing::ValuesIn(kCases),
                         [](const auto& one) { return one.param.name; });

/// What administrators and their tools do to a log, at any moment and in any order.
void doSomething(Scene& scene, std::mt19937& random) {
    const auto shift = [&scene] {
        for (int i = 6; i >= 1; --i)
            if (std::filesystem::exists(scene.folder.path("log." + std::to_string(i))))
                scene.folder.rename("log." + std::to_string(i), "log." + std::to_string(i + 1));
    };
    switch (random() % 12) {
    case 0: // rotated; the writer stays for some lines
        shift();
        scene.folder.rename("log", "log.1");
        for (auto lines = random() % 3; lines > 0; --lines) {
            scene.line("log.1");
            if (random() % 2 == 0)
                scene.look();
        }
        scene.line();
        return;
    case 1:
        shift();
        scene.folder.copy("log", "log.1");
        scene.folder.truncate();
        scene.line();
        // Of an empty file nobody can tell whether it was written and emptied once more since; it
        // would have to be within a look's time.
        if (random() % 2 == 0)
            scene.look();
        return;
    case 2:
        return scene.end();
    case 3:
    case 4:
    case 5:
        return scene.look();
    default:
        return scene.line();
    }
}

TEST(FileFollower, NothingIsSkippedOrRepeatedInAnyOrderOfEvents) {
    for (unsigned seed = 1; seed <= 150; ++seed) {
        std::mt19937 random(seed);
        Scene scene;
        scene.line();
        scene.look();
        for (int event = 0; event < 40; ++event) {
            doSomething(scene, random);
            // No log keeps more than some former selves, and nobody stays away for longer.
            if (event % 5 == 4)
                scene.look();
        }
        scene.look();
        ASSERT_EQ(scene.seen, scene.allLines()) << "seed " << seed;
    }
}

TEST(FileFollower, LinesWithoutEndAreCountedAndPassedOver) {
    Scene scene;
    scene.line();
    scene.look();
    scene.folder.append(std::string(1'200'000, 'x') + "\n");
    scene.line();
    scene.folder.append("the writer died he");
    scene.folder.rename("log", "log.1");
    scene.line();
    scene.look();
    EXPECT_EQ(scene.seen, scene.allLines());
    EXPECT_EQ(scene.tooLong, 1u);
    EXPECT_EQ(scene.cutShort, 1u);
}

TEST(FileFollower, AFileThatCannotBeReadIsNamed) {
    const LogFolder folder;
    const auto problemOf = [](const std::string& path) {
        return FileFollower(path, std::make_unique<LineFraming>()).open(std::nullopt).error();
    };
    EXPECT_EQ(problemOf(folder.path()), folder.path() + ": No such file or directory");
    EXPECT_EQ(problemOf(folder.path("")), folder.path("") + ": Is a directory");
    folder.append("line\n");
    FileFollower follower(folder.path(), std::make_unique<LineFraming>());
    ASSERT_TRUE(follower.open(std::nullopt));
    follower.next();
    folder.remove();
    follower.next();
    EXPECT_EQ(follower.problem(), folder.path() + ": No such file or directory");
    folder.append("line\n");
    follower.next();
    EXPECT_EQ(follower.problem(), "");
}

TEST(FilePosition, DamagedTextIsNone) {
    const FilePosition position{65024, 123456789, 99, 0xFEDCBA9876543210u};
    EXPECT_EQ(FilePosition::parse(position.text()), position);
    for (const char* text : {"", "file1", "file1 1 2 3", "file1 1 2 3 4 5", "file2 1 2 3 4",
                             "file1 1 2 x 4", "file1 1 2 0 4", "cursor s=0639"})
        EXPECT_EQ(FilePosition::parse(text), std::nullopt) << text;
}

} // namespace
} // namespace brindle::tallyd
