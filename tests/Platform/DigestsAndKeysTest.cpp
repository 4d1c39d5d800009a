#include <cstdlib>
#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include "Platform/Base64.h"
#include "Platform/Digest.h"
#include "Platform/Files.h"
#include "Platform/PublicKey.h"
#include "Platform/Uuid.h"

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

TEST(Digest, GivesKnownSums) {
    EXPECT_EQ(kiv::md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(kiv::md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
    const auto sum = kiv::sha256("abc");
    EXPECT_EQ(kiv::encodeBase64({reinterpret_cast<const char*>(sum.data()), sum.size()}),
              "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0=");
}

TEST(Uuid, IsVersionFourInUpperCaseAndNew) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = kiv::newUuid();
        ASSERT_EQ(uuid.size(), 36U);
        for (std::size_t at = 0; at < uuid.size(); ++at) {
            const bool hyphen = at == 8 || at == 13 || at == 18 || at == 23;
            ASSERT_NE(std::string_view(hyphen ? "-" : "0123456789ABCDEF").find(uuid[at]),
                      std::string_view::npos)
                << uuid;
        }
        ASSERT_EQ(uuid[14], '4');
        ASSERT_NE(std::string_view("89AB").find(uuid[19]), std::string_view::npos) << uuid;
        ASSERT_TRUE(seen.insert(uuid).second);
    }
}

/// Certificates and signatures as the openssl command makes them.
class PublicKeyTest : public testing::Test {
protected:
    void SetUp() override {
        const std::string script = "cd '" + folder_.string() + R"(' && printf message >message &&
            openssl req -x509 -newkey rsa:2048 -nodes -keyout key -outform DER -out rsa -subj /CN=x -days 1 &&
            openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ec.key -outform DER -out ec -subj /CN=x &&
            openssl dgst -sha256 -sign key -out signature message &&
            openssl dgst -sha256 -sign key -sigopt rsa_padding_mode:pss -out pss message &&
            openssl dgst -sha1 -sign key -out sha1 message)";
        ASSERT_EQ(std::system(("(" + script + ") >/dev/null 2>&1").c_str()), 0);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string file(const char* name) const { return kiv::readFile((folder_ / name).string()).value(); }

private:
    std::string template_ = (std::filesystem::temp_directory_path() / "kiv-XXXXXX").string();
    const std::filesystem::path folder_ = mkdtemp(template_.data());
};

TEST_F(PublicKeyTest, VerifiesWhatItsKeySigned) {
    const auto key = kiv::PublicKey::fromCertificate(file("rsa"));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->blockSize(), 256U);
    const auto digest = kiv::sha256("message");
    const std::string signature = file("signature");
    EXPECT_TRUE(key->verify(digest, signature));
    EXPECT_FALSE(key->verify(kiv::sha256("another"), signature));
    EXPECT_FALSE(key->verify(digest, signature + "x"));
    EXPECT_FALSE(key->verify(digest, signature.substr(1)));
    EXPECT_FALSE(key->verify(digest, ""));
    EXPECT_FALSE(key->verify(digest, file("pss")));
    EXPECT_FALSE(key->verify(digest, file("sha1")));
    EXPECT_FALSE(key->verify(digest, std::string(256, '\xFF')));
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
