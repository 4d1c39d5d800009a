#include <gtest/gtest.h>

#include "Network/KIVNetwork.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/System/Files.h"
#include "Support/CapturedLog.h"
#include "Support/Signing.h"

namespace {

/// What reading an envelope came to: the payload on one line, or the error's name.
std::string outcome(const std::string& envelope, const KIVClientOptions& options) {
    const auto json = kiv::parseJson(envelope);
    KIVNetworkError error = KIVNetworkError::none;
    const auto payload =
        KIVNetwork(std::make_shared<const KIVClientOptions>(options), std::make_shared<const KIVURLSession>())
            .extractInnerJson(json ? *json : kiv::json::value(), "somewhere", &error);
    return payload ? kiv::compactJson(*payload) : KIVNetwork::networkErrorString(error).value_or("no error");
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    text.replace(text.find(what), what.size(), by);
    return text;
}

TEST(ExtractInnerJson, GivesThePayloadOfASignedEnvelopeWithoutItsNulls) {
    const Signer signer = makeSigner();
    const KIVClientOptions options{.customSigningCertificate = signer.certificateBase64};
    EXPECT_EQ(
        outcome(signer.sign(R"( {"a": null, "b": [null, 1, {"c": null}], "text": "\u00e9é"} )"), options),
        R"({"b":[1,{}],"text":"éé"})");
}

TEST(ExtractInnerJson, RefusesWhatIsNotSignedOrNoObject) {
    const Signer signer = makeSigner();
    const KIVClientOptions checked{.customSigningCertificate = signer.certificateBase64};
    KIVClientOptions unchecked = checked;
    unchecked.disableSignatureVerification = true;
    const std::string good = signer.sign(R"({"a": 1})");
    const std::string payload = R"({"a":1})";
    const std::string unverified = "KIVNetwork_signatureWasNotVerified";
    const std::string noJson = "KIVNetwork_jsonParsing";
    struct Case {
        const char* what;
        std::string envelope;
        std::string checked;
        std::string unchecked;
    };
    const Case cases[] = {
        {"good", good, payload, payload},
        {"no signature", replaced(good, "signature_v0", "signature_v1"), unverified, payload},
        {"signature is no text", R"({"data":"{\"a\": 1}","signature_v0":[1]})", unverified, payload},
        {"written with other spaces", replaced(good, R"(\"a\": 1)", R"(\"a\":1)"), unverified, payload},
        {"signed by another", makeSigner().sign(R"({"a": 1})"), unverified, payload},
        {"no JSON, signed", signer.sign("{"), noJson, noJson},
        {"no JSON, unsigned", R"({"data":"{"})", unverified, noJson},
        {"an array, signed", signer.sign("[1]"), noJson, noJson},
        {"empty, signed", signer.sign(""), noJson, noJson},
        {"no data", R"({"signature_v0":"AAAA"})", unverified, noJson},
        {"data is no text", R"({"data":{"a":1}})", unverified, noJson},
        {"no envelope", "[]", unverified, noJson},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(outcome(one.envelope, checked), one.checked) << one.what;
        EXPECT_EQ(outcome(one.envelope, unchecked), one.unchecked) << one.what;
    }
}

TEST(ExtractInnerJson, TellsFailuresApartAndReportsEach) {
    class Network : public KIVNetwork {
    public:
        using KIVNetwork::KIVNetwork;
        void reportNetworkError(KIVNetworkError error, std::string_view url,
                                std::string_view) const override {
            reports.push_back(std::to_string(static_cast<int>(error)) + " " + std::string(url));
        }
        mutable std::vector<std::string> reports;
    };
    const CapturedLog log;
    const Signer signer = makeSigner();
    const auto options = std::make_shared<KIVClientOptions>();
    const Network network(options, std::make_shared<const KIVURLSession>());
    options->customSigningCertificate = signer.certificateBase64; // read when it is needed
    options->disableSignatureVerification = true;                 // read when the network was made
    for (const char* text : {R"({"data":"{}"})", R"({"data":"{}","signature_v0":"AAAA"})"}) {
        EXPECT_EQ(network.extractInnerJson(*kiv::parseJson(text), "one", nullptr), nullptr);
    }
    EXPECT_EQ(network.extractInnerJson(*kiv::parseJson(signer.sign("{]")), "two", nullptr), nullptr);
    EXPECT_TRUE(network.extractInnerJson(*kiv::parseJson(signer.sign("{}")), "three", nullptr));
    EXPECT_EQ(network.reports, (std::vector<std::string>{"5 one", "5 one", "4 two"}));
    EXPECT_TRUE(log.has({"KIVNetwork_signatureWasNotVerified", "no signature"}));
    EXPECT_TRUE(log.has({"KIVNetwork_signatureWasNotVerified", "not one of this payload"}));
    EXPECT_TRUE(log.has({"KIVNetwork_jsonParsing", "url=two"}));
}

class SignatureChecker : public ::testing::Test {
protected:
    bool verifies(const std::optional<std::string>& certificate, std::optional<std::string_view> text) {
        return KIVSignatureChecker(
                   std::make_shared<const KIVClientOptions>(KIVClientOptions{certificate, {}, false}))
            .verifySigningOf("payload", text);
    }

    const Signer signer = makeSigner();
    const std::string signature = signer.signature("payload");
};

TEST_F(SignatureChecker, TakesTheSignatureAsOneBlock) {
    const std::string block = *kiv::decodeBase64(signature);
    const auto verifiesBytes = [&](const std::string& bytes) {
        return verifies(signer.certificateBase64, kiv::encodeBase64(bytes));
    };
    EXPECT_TRUE(verifiesBytes(block));
    EXPECT_TRUE(verifiesBytes(block + "what follows the block"));
    EXPECT_FALSE(verifiesBytes("before" + block));
    for (const std::size_t size : {0U, 1U, 128U, 255U}) {
        EXPECT_FALSE(verifiesBytes(block.substr(0, size))) << size;
    }
    const Signer larger = makeSigner(3072);
    EXPECT_TRUE(verifies(larger.certificateBase64, larger.signature("payload")))
        << "the block is as large as the key";
    EXPECT_FALSE(verifies(larger.certificateBase64, signature));
}

TEST_F(SignatureChecker, NeedsAReadableCertificateAndSignature) {
    const std::string& certificate = signer.certificateBase64;
    EXPECT_TRUE(verifies(certificate, signature)) << "the certificate ran out, and that does not matter";
    EXPECT_FALSE(verifies(std::nullopt, signature)) << "the built-in certificate is another's";
    EXPECT_FALSE(verifies(certificate, std::nullopt));
    const std::string broken = signature.substr(0, 64) + "\n" + signature.substr(64);
    for (const std::string& wrong : {std::string(), std::string("%"), broken, signature + " "}) {
        EXPECT_FALSE(verifies(certificate, wrong)) << wrong;
    }
    const std::string der = *kiv::decodeBase64(certificate);
    for (const std::string& wrong :
         {std::string(), std::string("no base64"), certificate.substr(0, 64) + "\n" + certificate.substr(64),
          kiv::encodeBase64("no certificate"), kiv::encodeBase64(der.substr(0, der.size() / 2))}) {
        EXPECT_FALSE(verifies(wrong, signature)) << wrong;
    }
}

TEST(BuiltInCertificate, VerifiesWhatItsKeySigned) {
    const auto fixture = kiv::readFile(KIV_TEST_DATA "/builtin-signed.json");
    ASSERT_TRUE(fixture);
    EXPECT_NE(outcome(*fixture, {}).find("builtin.flag"), std::string::npos);
    EXPECT_EQ(outcome(replaced(*fixture, "Built-in", "built-in"), {}), "KIVNetwork_signatureWasNotVerified");
    EXPECT_EQ(outcome(*fixture, {.customSigningCertificate = makeSigner().certificateBase64}),
              "KIVNetwork_signatureWasNotVerified")
        << "an own certificate takes the built-in one's place";
}

} // namespace
