// SPDX-License-Identifier: BSD-2-Clause
#include "platform/identity/Accounts.h"

#include <gtest/gtest.h>

using namespace brindle::platform;

TEST(Accounts, knownAndUnknownOnesAreToldApart) {
    EXPECT_EQ(accountName(0), "root");
    EXPECT_EQ(accountName(4294967294u), "");
    EXPECT_EQ(accountName(4294967295u), "");
    EXPECT_EQ(userId("root"), 0u);
    EXPECT_EQ(groupId("root"), 0u);
    for (const char* name : {"", "no such account", "root:x"}) {
        EXPECT_EQ(userId(name), std::nullopt) << name;
        EXPECT_EQ(groupId(name), std::nullopt) << name;
    }
}
