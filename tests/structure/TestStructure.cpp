// SPDX-License-Identifier: BSD-2-Clause
#include "tests/structure/IncludeRules.h"

#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace brindle::structure {
namespace {

namespace fs = std::filesystem;

TEST(Structure, NoFolderIncludesWhatItMayNotKnow) {
    const auto found = violations(BRINDLE_SOURCE_DIR);
    std::string lines;
    for (const std::string& line : found)
        lines += line + '\n';
    EXPECT_TRUE(found.empty()) << lines;
}

TEST(Structure, TheProjectIsFoundAtAll) {
    EXPECT_TRUE(fs::exists(fs::path(BRINDLE_SOURCE_DIR) / "core/log/records/PacketRecord.h"));
}

/// A source tree of a few lines, gone with the test.
class MadeUpTree : public ::testing::Test {
  protected:
    MadeUpTree() {
        std::string name = (fs::temp_directory_path() / "structure.XXXXXX").string();
        root_ = ::mkdtemp(name.data());
        for (const char* header :
             {"core/net/A.h", "core/log/records/R.h", "core/log/V.h", "core/exclusions/E.h",
              "platform/timer/Timer.h", "protocol/P.h", "protocol/client/C.h", "protocol/wire/W.h",
              "tallyd/records/RecordReader.h", "tallyd/records/RecordSink.h", "tallyd/store/S.h",
              "app/Main.h", "app/logs/L.h", "app/logs/table/T.h", "app/lists/I.h", "tests/F.h"})
            write(header, "");
    }
    ~MadeUpTree() override { fs::remove_all(root_); }

    void write(const std::string& file, const std::string& text) {
        fs::create_directories((root_ / file).parent_path());
        std::ofstream(root_ / file) << "// SPDX-License-Identifier: BSD-2-Clause\n" << text;
    }
    /// What is found when `file` includes `header`, named with its brackets or quotes.
    std::vector<std::string> including(const std::string& file, const std::string& header) {
        write(file, "#include " + header + "\n");
        auto found = violations(root_);
        fs::remove(root_ / file);
        return found;
    }

    fs::path root_;
};

TEST_F(MadeUpTree, ForbiddenEdgesAreFound) {
    const std::pair<const char*, const char*> forbidden[]{
        {"core/net/X.cpp", "\"core/log/records/R.h\""},
        {"core/net/X.cpp", "\"platform/timer/Timer.h\""},
        {"core/exclusions/X.cpp", "\"core/log/V.h\""},
        {"core/log/X.cpp", "\"protocol/wire/W.h\""},
        {"core/log/X.cpp", "\"app/Main.h\""},
        {"core/log/records/X.cpp", "\"core/log/V.h\""},
        {"platform/queue/X.cpp", "\"core/net/A.h\""},
        {"protocol/X.cpp", "\"protocol/client/C.h\""},
        {"protocol/server/X.cpp", "\"protocol/client/C.h\""},
        {"tallyd/sources/X.cpp", "\"tallyd/store/S.h\""},
        {"tallyd/sources/pflog/X.cpp", "\"tallyd/records/RecordReader.h\""},
        {"tallyd/server/X.cpp", "\"tallyd/records/RecordSink.h\""},
        {"tallyctl/X.cpp", "\"core/log/V.h\""},
        {"app/X.cpp", "\"protocol/P.h\""},
        {"app/logs/X.cpp", "\"app/lists/I.h\""},
        {"app/lists/X.cpp", "\"app/logs/table/T.h\""},
        {"vardex/X.cpp", "\"app/Main.h\""},
        {"core/log/X.cpp", "\"tests/F.h\""},
        {"core/log/X.cpp", "\"V.h\""},
        {"core/log/X.cpp", "<QString>"},
        {"tallyctl/X.cpp", "<QtCore/QString>"},
        {"platform/queue/X.h", "<QTimer>"},
        {"core/log/X.cpp", "<kj/async.h>"},
        {"tallyd/server/X.cpp", "<capnp/rpc.h>"},
        {"tallyd/server/X.cpp", "\"protocol/tallyd.capnp.h\""},
        {"tallyd/server/X.cpp", "<sqlite3.h>"},
        {"tallyd/store/X.cpp", "<pcap/pcap.h>"},
        {"app/logs/X.cpp", "\"app/lists/ui_Window.h\""},
        {"app/logs/X.cpp", "  <ares.h>"},
    };
    for (const auto& [file, header] : forbidden) {
        const auto found = including(file, header);
        ASSERT_EQ(found.size(), 1u) << file << " including " << header;
        EXPECT_THAT(found[0], ::testing::StartsWith(std::string(file) + ":2: "));
    }
}

TEST_F(MadeUpTree, AllowedEdgesAreNot) {
    const std::pair<const char*, const char*> allowed[]{
        {"core/net/X.cpp", "\"core/net/A.h\""},
        {"core/log/X.cpp", "\"protocol/P.h\""},
        {"core/log/X.cpp", "\"core/exclusions/E.h\""},
        {"core/log/records/X.cpp", "\"core/net/A.h\""},
        {"platform/timer/X.cpp", "<QTimer>"},
        {"protocol/client/X.cpp", "\"protocol/tallyd.capnp.h\""},
        {"protocol/wire/X.h", "<kj/async.h>"},
        {"tallyd/sources/pflog/X.cpp", "\"tallyd/records/RecordSink.h\""},
        {"tallyd/sources/pflog/X.cpp", "<pcap/pcap.h>"},
        {"tallyd/store/X.cpp", "<sqlite3.h>"},
        {"tallyd/main.cpp", "\"tallyd/store/S.h\""},
        {"app/main.cpp", "\"app/lists/I.h\""},
        {"app/logs/X.cpp", "\"app/logs/table/T.h\""},
        {"app/logs/X.cpp", "\"ui_Window.h\""},
        {"app/logs/X.cpp", "\"app/logs/ui_Window.h\""},
        {"tests/core/log/X.cpp", "<QString>"},
    };
    for (const auto& [file, header] : allowed)
        EXPECT_THAT(including(file, header), ::testing::IsEmpty()) << file << " " << header;
}

TEST_F(MadeUpTree, AFileWithoutLicenceLineOrOwnHeaderFirstIsFound) {
    std::ofstream(root_ / "core/net/A.cpp") << "#include \"core/net/A.h\"\n";
    write("core/log/V.cpp", "#include <vector>\n#include \"core/log/V.h\"\n");
    EXPECT_THAT(violations(root_),
                ::testing::ElementsAre("core/log/V.cpp:2: does not include its own header first",
                                       "core/net/A.cpp:1: does not open with the licence line"));
}

} // namespace
} // namespace brindle::structure
