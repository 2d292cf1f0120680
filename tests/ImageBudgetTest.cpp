// Pictures a page sends are decoded only within the budget: a small file whose header declares
// a huge picture is refused from its header, by every codec, and the page gets the answer of any
// other bad picture.

#include <gtest/gtest.h>
#include <zlib.h>

#include "Core/Bridge/CheckoutWebViewBridge.hpp"
#include "Core/Utils/Base64.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"

using namespace tandri;

namespace {

void putU32(ByteBuffer& out, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(v >> shift));
}

void chunk(ByteBuffer& png, const char* type, const ByteBuffer& data) {
    putU32(png, static_cast<std::uint32_t>(data.size()));
    ByteBuffer body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    png.insert(png.end(), body.begin(), body.end());
    putU32(png, static_cast<std::uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size()))));
}

// An 8-bit grey PNG declaring width × height. With `rows` it carries that many black rows
// (all of them makes a whole picture); the header alone decides what a decoder must allocate.
ByteBuffer greyPNG(std::uint32_t width, std::uint32_t height, std::uint32_t rows) {
    ByteBuffer png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    ByteBuffer header;
    putU32(header, width);
    putU32(header, height);
    header.insert(header.end(), {8, 0, 0, 0, 0});  // 8 bits, grey, deflate, no filter, no interlace
    chunk(png, "IHDR", header);
    ByteBuffer raw(static_cast<std::size_t>(width + 1) * rows, 0);  // filter byte 0, black
    uLongf size = compressBound(static_cast<uLong>(raw.size()));
    ByteBuffer packed(size);
    compress2(packed.data(), &size, raw.data(), static_cast<uLong>(raw.size()), 9);
    packed.resize(size);
    chunk(png, "IDAT", packed);
    chunk(png, "IEND", {});
    return png;
}

}  // namespace

TEST(ImageBudget, EveryCodecRefusesPicturesOverTheBudgetFromTheHeader) {
    linux_platform::StbImageCodec stb;
    auto decoded = stb.decode(greyPNG(4096, 1, 1));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->width, 4096);
    EXPECT_TRUE(stb.decode(greyPNG(1, 4096, 4096)));
    EXPECT_TRUE(stb.decode(greyPNG(4000, 4000, 4000)));  // 16 megapixels exactly
    // Whole, well-formed pictures one pixel over a side or over the pixel count.
    EXPECT_FALSE(stb.decode(greyPNG(4097, 1, 1)));
    EXPECT_FALSE(stb.decode(greyPNG(1, 4097, 4097)));
    EXPECT_FALSE(stb.decode(greyPNG(4000, 4001, 4001)));
    // 23000 × 23000 declared in a file of a few hundred bytes: refused before any decoding.
    EXPECT_FALSE(stb.decode(greyPNG(23000, 23000, 1)));

    sim::SimulatedImageCodec simulated;
    auto picture = [&](int width, int height) {
        Bitmap image;
        image.width = width;
        image.height = height;
        image.rgba.assign(static_cast<std::size_t>(width) * height * 4, 7);
        return *simulated.encodePNG(image);
    };
    EXPECT_TRUE(simulated.decode(picture(4096, 1)));
    EXPECT_FALSE(simulated.decode(picture(4097, 1)));
    EXPECT_FALSE(simulated.decode(picture(1, 4097)));
    ByteBuffer huge{'S', 'I', 'M', 'G'};
    putU32(huge, 23000);
    putU32(huge, 23000);
    EXPECT_FALSE(simulated.decode(huge));
}

TEST(ImageBudget, ACardArtDeclaringAHugePictureIsABadPictureForThePage) {
    sim::SimulatedPlatform platform;
    Platform::current().imageCodec = std::make_shared<linux_platform::StbImageCodec>();
    CheckoutWebViewBridge::resetMiniButtonImageForTesting();
    auto host = std::make_shared<ViewController>();
    const std::string page = "https://checkout." + makerDomain() + "/pay";
    auto bridge = CheckoutWebViewBridge::initWithUrlString(page, std::string("GET"), {},
                                                           std::nullopt, std::string("rxo.rx"),
                                                           host, "TDC_SDK/1.0.0", nullptr);
    ASSERT_TRUE(bridge);
    auto& view = static_cast<sim::SimulatedWebView&>(*bridge->webView);
    auto send = [&](const ByteBuffer& png, const char* id) {
        view.postJSON(JSBridge::kChannelName,
                      std::string(R"({"name":"newCardArt","id":")") + id + R"(","data":")" +
                          base64Encode(png) + "\"}",
                      page);
        platform.mainQueue().drain();
        return platform.webViews().scriptsIn(*bridge->webView).back();
    };
    EXPECT_EQ(send(greyPNG(30, 20, 20), "1"),
              R"(rxo.rx({"id":"1","name":"result","data":null,"error":null}))");
    ASSERT_TRUE(CheckoutWebViewBridge::miniButtonImage());
    auto file = CheckoutWebViewBridge::miniButtonFileURL();
    ASSERT_TRUE(file);
    EXPECT_TRUE(platform.files().exists(*file));

    // The bomb: answered as any bad picture (the card cleared, its file gone), and this process
    // carries on.
    EXPECT_EQ(send(greyPNG(23000, 23000, 1), "2"),
              R"(rxo.rx({"id":"2","name":"result","data":null,"error":null}))");
    EXPECT_FALSE(CheckoutWebViewBridge::miniButtonImage());
    EXPECT_FALSE(platform.files().exists(*file));
    // A whole picture just over a side is refused the same way.
    send(greyPNG(30, 20, 20), "3");
    ASSERT_TRUE(CheckoutWebViewBridge::miniButtonImage());
    send(greyPNG(4097, 2, 2), "4");
    EXPECT_FALSE(CheckoutWebViewBridge::miniButtonImage());
    bridge.reset();
    CheckoutWebViewBridge::resetMiniButtonImageForTesting();
}
