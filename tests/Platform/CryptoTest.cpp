#include <cstdlib>
#include <regex>
#include <set>

#include <gtest/gtest.h>

#include "Platform/Crypto/Base64.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Crypto/PublicKey.h"
#include "Platform/Crypto/Uuid.h"
#include "Platform/System/Files.h"
#include "Support/TemporaryFolder.h"

namespace {

TEST(Base64, IsStrict) {
    const struct {
        std::string bytes;
        std::string text;
    } cases[] = {{"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
                 {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {std::string("\0\xFF\xFE>?", 5), "AP/+Pj8="}};
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(kiv::encodeBase64(bytes), text);
        EXPECT_EQ(kiv::decodeBase64(text), bytes) << text;
    }
    for (const std::string_view text : {"Zg", "Zg=", "Zg== ", " Zg==", "Zm9v\n", "Zm\n9v",
                                        "Z===", "====", "=", "Zg==Zg==", "Zm-_", "Zm9vY", "Zm=v", "Zg\0="}) {
        EXPECT_FALSE(kiv::decodeBase64(text)) << text;
    }
    // Longer than the pieces it is encoded in.
    const std::string large((7U << 20) + 1, '\x9D');
    EXPECT_EQ(kiv::decodeBase64(kiv::encodeBase64(large)), large);
}

TEST(Uuid, IsVersionFourInUpperCaseAndNew) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = kiv::newUuid();
        ASSERT_TRUE(std::regex_match(uuid, form)) << uuid;
        ASSERT_TRUE(seen.insert(uuid).second);
    }
}

/// Certificates and signatures as the openssl command makes them.
class PublicKeyTest : public testing::Test {
protected:
    void SetUp() override {
        const std::string script = "cd '" + folder_.path() + R"(' && printf message >message &&
            openssl req -x509 -newkey rsa:2048 -nodes -keyout key -outform DER -out rsa -subj /CN=x -days 1 &&
            openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ec.key -outform DER -out ec -subj /CN=x &&
            openssl dgst -sha256 -sign key -out signature message &&
            openssl dgst -sha256 -sign key -sigopt rsa_padding_mode:pss -out pss message &&
            openssl dgst -sha1 -sign key -out sha1 message)";
        ASSERT_EQ(std::system(("(" + script + ") >/dev/null 2>&1").c_str()), 0);
    }
    std::string file(const char* name) const { return kiv::readFile(folder_ / name).value(); }

    const TemporaryFolder folder_;
};

TEST_F(PublicKeyTest, VerifiesWhatItsKeySigned) {
    const auto key = kiv::PublicKey::fromCertificate(file("rsa"));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->blockSize(), 256U);
    const auto digest = kiv::sha256("message");
    const std::string signature = file("signature");
    EXPECT_TRUE(key->verify(digest, signature));
    EXPECT_FALSE(key->verify(kiv::sha256("another"), signature));
    for (const std::string& wrong : {signature + "x", signature.substr(1), std::string(), file("pss"),
                                     file("sha1"), std::string(256, '\xFF')}) {
        EXPECT_FALSE(key->verify(digest, wrong)) << kiv::encodeBase64(wrong);
    }
}

TEST_F(PublicKeyTest, TakesOneRsaCertificateOnly) {
    const std::string certificate = file("rsa");
    EXPECT_FALSE(kiv::PublicKey::fromCertificate(certificate + '\0'));
    EXPECT_FALSE(kiv::PublicKey::fromCertificate(file("ec")));
    EXPECT_FALSE(kiv::PublicKey::fromCertificate(kiv::encodeBase64(certificate)));
    for (std::size_t size = 0; size < certificate.size(); ++size) {
        EXPECT_FALSE(kiv::PublicKey::fromCertificate(certificate.substr(0, size)));
    }
}

} // namespace
