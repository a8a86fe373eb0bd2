// SPDX-License-Identifier: BSD-2-Clause
#include "app/images/KVImageFX.h"
#include "app/images/PictureResource.h"
#include "app/images/PictureStore.h"
#include "core/geo/NationNames.h"

#include <QImage>
#include <QString>

#include <cctype>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace brindle {
namespace {

std::string lowerCase(std::string_view code) {
    std::string key(code);
    for (char& c : key)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return key;
}

TEST(NationPictures, EveryNationHasAFlagButThoseThatShowTheGlobe) {
    const KVImageFX effects(1);
    const std::set<std::string_view> globe{"AP", "VI", "ZZ"};
    for (const auto& [code, name] : nationNames()) {
        EXPECT_EQ(effects.has(lowerCase(code)), !globe.contains(code)) << name;
        EXPECT_EQ(effects.has(std::string(code)), !globe.contains(code)) << name;
    }
}

TEST(NationPictures, NamesLeadNowhereButToPictures) {
    const KVImageFX effects(1);
    for (const char* name : {"", "/", "..", "../flags/it", "/../flags/it", "flags/it", "it.svg",
                             "it\n", "xk", "eo", "vi"}) {
        EXPECT_FALSE(effects.has(name)) << name;
        EXPECT_EQ(effects.size(Picture::named(name)), PictureSize{}) << name;
        EXPECT_TRUE(effects.roundImage(Picture::named(name), 64, 48).isEmpty()) << name;
    }
    for (const char* name : {"terra", "homelanicon", "NSComputer"})
        EXPECT_TRUE(effects.has(name)) << name;
}

TEST(NationPictures, FlagsAreDrawnInTheirOwnColoursAtASmallSize) {
    const KVImageFX effects(2);
    const Picture flag = Picture::named("it");
    EXPECT_EQ(effects.size(flag), (PictureSize{kFlagWidth, kFlagHeight}));
    const Picture small = effects.resizedImage(flag, 24, 16);
    ASSERT_FALSE(small.isEmpty());
    EXPECT_EQ(small.content()->width, 48);
    EXPECT_EQ(small.content()->height, 32);
    // The white of the middle is not turned dark for a palette with light text.
    for (const QRgb ink : {qRgb(0, 0, 0), qRgb(255, 255, 255)}) {
        const QImage image = drawPicture(flag, QSize(64, 48), ink);
        ASSERT_EQ(image.size(), QSize(64, 48));
        EXPECT_EQ(image.pixel(32, 24), qRgb(255, 255, 255));
        EXPECT_GT(qGreen(image.pixel(5, 24)), qRed(image.pixel(5, 24)));
        EXPECT_GT(qRed(image.pixel(60, 24)), qGreen(image.pixel(60, 24)));
    }
}

} // namespace
} // namespace brindle
