// SPDX-License-Identifier: BSD-2-Clause
#include "app/images/KVImageFX.h"

#include <QBuffer>
#include <QByteArray>
#include <QColor>

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace brindle {
namespace {

/// Every pixel different, all opaque.
Picture chequered(int width, int height) {
    std::vector<std::uint32_t> argb;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            argb.push_back(qRgb(x, y, (x * 7 + y * 13) & 0xFF));
    return Picture::fromPixels(width, height, std::move(argb));
}

std::uint32_t pixel(const Picture& picture, int x, int y) {
    return picture.content()->argb.at(static_cast<std::size_t>(y * picture.content()->width + x));
}

std::string encoded(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes.toStdString();
}

/// By how much a pixel's corners lie within (negative) or beyond the ellipse inscribed in a box.
struct Corners {
    double nearest;
    double farthest;
};
Corners corners(int x, int y, double width, double height) {
    Corners result{1e9, -1e9};
    for (const double px : {x + 0.0, x + 1.0})
        for (const double py : {y + 0.0, y + 1.0}) {
            const double dx = (px - width / 2) / (width / 2);
            const double dy = (py - height / 2) / (height / 2);
            const double outside = dx * dx + dy * dy - 1;
            result.nearest = std::min(result.nearest, outside);
            result.farthest = std::max(result.farthest, outside);
        }
    return result;
}

TEST(KVImageFX, RoundImageKeepsTheInsideAndClearsTheOutsideOfAnEllipse) {
    struct Case {
        int width, height;            // of the source
        double clipWidth, clipHeight; // points
        double ratio;
    };
    for (const Case& c :
         {Case{96, 96, 96, 96, 1}, Case{120, 40, 120, 40, 1}, Case{33, 64, 33, 64, 1},
          Case{100, 60, 50, 30, 2}, Case{80, 80, 40, 60, 1}}) {
        const Picture source = chequered(c.width, c.height);
        const Picture oval = KVImageFX(c.ratio).roundImage(source, c.clipWidth, c.clipHeight);
        ASSERT_EQ(oval.content()->width, c.width);
        ASSERT_EQ(oval.content()->height, c.height);
        int inside = 0, outside = 0, blended = 0;
        for (int y = 0; y < c.height; ++y)
            for (int x = 0; x < c.width; ++x) {
                const Corners at = corners(x, y, c.clipWidth * c.ratio, c.clipHeight * c.ratio);
                const std::uint32_t got = pixel(oval, x, y);
                if (at.farthest < -0.02) {
                    ++inside;
                    ASSERT_EQ(got, pixel(source, x, y)) << x << ',' << y;
                } else if (at.nearest > 0.02) {
                    ++outside;
                    ASSERT_EQ(got, 0u) << x << ',' << y;
                } else if (qAlpha(got) > 0 && qAlpha(got) < 255) {
                    ++blended;
                }
            }
        EXPECT_GT(inside, c.clipWidth * c.clipHeight * c.ratio * c.ratio / 2);
        EXPECT_GT(outside, 0);
        EXPECT_GT(blended, 8) << "the edge is jagged";
    }
}

TEST(KVImageFX, RoundImageLeavesTransparentPartsTransparent) {
    const auto half = qPremultiply(qRgba(200, 100, 50, 128));
    const Picture source = Picture::fromPixels(20, 20, std::vector<std::uint32_t>(400, half));
    EXPECT_EQ(pixel(KVImageFX(1).roundImage(source, 20, 20), 10, 10), half);
}

TEST(KVImageFX, ResizedImageFillsTheWholeSizeWhateverTheProportions) {
    // Left half red, right half green, twice as wide as high.
    std::vector<std::uint32_t> argb;
    for (int i = 0; i < 200 * 100; ++i)
        argb.push_back(i % 200 < 100 ? 0xFFFF0000 : 0xFF00FF00);
    const Picture source = Picture::fromPixels(200, 100, argb);
    const Picture small = KVImageFX(1).resizedImage(source, 16, 16);
    ASSERT_EQ(small.content()->width, 16);
    ASSERT_EQ(small.content()->height, 16);
    for (int y = 0; y < 16; ++y) {
        EXPECT_EQ(pixel(small, 0, y), 0xFFFF0000);
        EXPECT_EQ(pixel(small, 15, y), 0xFF00FF00);
    }
    const Picture sharp = KVImageFX(2).resizedImage(source, 24, 16);
    EXPECT_EQ(sharp.content()->width, 48);
    EXPECT_EQ(sharp.content()->height, 32);
    EXPECT_EQ(KVImageFX(2).size(sharp), (PictureSize{24, 16}));
}

TEST(KVImageFX, SmallPicturesAreAverages) {
    // A chessboard of single pixels: taking one of many would give black or white.
    std::vector<std::uint32_t> argb;
    for (int i = 0; i < 128 * 128; ++i)
        argb.push_back((i / 128 + i) % 2 ? 0xFFFFFFFF : 0xFF000000);
    const Picture small = KVImageFX(1).resizedImage(Picture::fromPixels(128, 128, argb), 16, 16);
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(qGray(pixel(small, i, i)), 127, 3);
}

TEST(KVImageFX, LoadReadsPixelFormatsAndNothingElse) {
    const KVImageFX effects(1);
    QImage image(30, 20, QImage::Format_ARGB32);
    image.fill(QColor(10, 20, 30, 128));
    const Picture png = effects.load(encoded(image, "PNG"));
    ASSERT_EQ(effects.size(png), (PictureSize{30, 20}));
    EXPECT_EQ(pixel(png, 3, 3), qPremultiply(qRgba(10, 20, 30, 128)));
    EXPECT_EQ(effects.size(effects.load(encoded(image, "JPEG"))), (PictureSize{30, 20}));

    const std::string whole = encoded(image, "PNG");
    for (const std::string& bytes :
         {std::string(), std::string("no image"), whole.substr(0, 20),
          std::string("<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>"),
          std::string("/* XPM */ static char*x[]={\"1 1 1 1\",\"a c #000000\",\"a\"};")})
        EXPECT_TRUE(effects.load(bytes).isEmpty()) << bytes;
}

TEST(KVImageFX, LargePicturesAreTakenInSmallAndHugeOnesNotAtAll) {
    const KVImageFX effects(1);
    const auto loaded = [&](int width, int height, const char* format) {
        QImage image(width, height, QImage::Format_RGB32);
        image.fill(Qt::blue);
        return effects.size(effects.load(encoded(image, format)));
    };
    EXPECT_EQ(loaded(1600, 800, "PNG"), (PictureSize{512, 256}));
    EXPECT_EQ(loaded(1600, 200, "PNG"), (PictureSize{1600, 200})) << "the short side is kept";
    EXPECT_EQ(loaded(2001, 1000, "PNG"), PictureSize());
    EXPECT_EQ(loaded(2000, 4000, "JPEG"), (PictureSize{256, 512}));
    EXPECT_EQ(loaded(4001, 4000, "JPEG"), PictureSize());
}

TEST(KVImageFX, NothingIsMadeOfNothing) {
    const KVImageFX effects(1);
    const Picture lie = Picture::fromPixels(4, 4, {0xFFFFFFFF});
    for (const Picture& picture : {Picture(), Picture::named("no such resource"), lie}) {
        EXPECT_EQ(effects.size(picture), PictureSize());
        EXPECT_TRUE(effects.roundImage(picture, 16, 16).isEmpty());
        EXPECT_TRUE(effects.resizedImage(picture, 16, 16).isEmpty());
    }
    EXPECT_TRUE(effects.resizedImage(chequered(4, 4), 0, 16).isEmpty());
}

TEST(KVImageFX, NamedPicturesAreDrawnAtTheirOwnSize) {
    const KVImageFX effects(2);
    const Picture user = Picture::named("NSUser");
    ASSERT_EQ(effects.size(user), (PictureSize{16, 16}));
    const Picture oval = effects.roundImage(user, 16, 16);
    EXPECT_EQ(oval.content()->width, 32);
    EXPECT_NE(qAlpha(pixel(oval, 16, 12)), 0) << "nothing was drawn";
}

} // namespace
} // namespace brindle
