#include "KivCommand.h"

#include <functional>

#include "Network/KIVSignatureChecker.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/Text/Dates.h"
#include "Support/Signing.h"

namespace {

constexpr const char* payload = "{\"application\": \"k\",\r\n \"experiments\": [], \"é\": \"\\u00e9\"}";

class ConfigSigning : public KivCommand {
protected:
    /// Makes a key and its certificates, "s.…", and signs "payload.json" as "signed.json".
    void signPayload() {
        ASSERT_EQ(kiv({"config", "keygen", "--out", "s"}).exitCode, 0);
        write("payload.json", std::string(payload) + "\n");
        ASSERT_EQ(kiv({"config", "sign", "payload.json", "--signing-key", "s.key.pem", "--out", "signed.json",
                       "--date", "2026-01-31T13:00:00.000+01:00"})
                      .exitCode,
                  0);
    }
};

TEST_F(ConfigSigning, IsWhatOthersVerify) {
    signPayload();
    const kiv::json::value envelope = parsed(read("signed.json"));
    const std::string data(*kiv::textMember(envelope, "data"));
    const std::string signature(*kiv::textMember(envelope, "signature_v0"));
    EXPECT_EQ(data, payload);
    EXPECT_EQ(*kiv::textMember(envelope, "signed_date"), "2026-01-31T12:00:00.000Z");

    write("data", data);
    write("signature", kiv::decodeBase64(signature).value());
    const Outcome openssl = shell("openssl x509 -in s.certificate.pem -noout -pubkey >public.pem && "
                                  "openssl dgst -sha256 -verify public.pem -signature signature data");
    EXPECT_EQ(openssl.exitCode, 0) << openssl.err;
    EXPECT_EQ(openssl.out, "Verified OK\n");

    std::string certificate = read("s.certificate.txt");
    certificate.pop_back();
    const auto options =
        std::make_shared<KIVClientOptions>(KIVClientOptions{.customSigningCertificate = certificate});
    EXPECT_TRUE(KIVSignatureChecker(options).verifySigningOf(data, signature));
}

TEST_F(ConfigSigning, DatesItNowUnlessTold) {
    signPayload();
    const Outcome outcome = kiv({"config", "sign", "-", "--signing-key", "s.key.pem"}, payload);
    const auto date = kiv::parseDate(*kiv::textMember(parsed(outcome.out), "signed_date"));
    EXPECT_LT(std::chrono::abs(std::chrono::system_clock::now() - date.value()), std::chrono::minutes(5));
}

TEST_F(ConfigSigning, KeepsTheKeyPrivateAndReplacesItOnlyWhenForced) {
    signPayload();
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status("s.key.pem").permissions(), perms::owner_read | perms::owner_write);
    const std::string key = read("s.key.pem");
    std::filesystem::remove("s.certificate.pem");
    const Outcome refused = kiv({"config", "keygen", "--out", "s"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_CONTAINS(refused.err, "s.key.pem: is there already");
    EXPECT_EQ(read("s.key.pem"), key);
    EXPECT_FALSE(std::filesystem::exists("s.certificate.pem"));

    std::filesystem::permissions("s.key.pem", perms::all);
    EXPECT_EQ(kiv({"config", "keygen", "--out", "s", "--force", "--name", "Shop", "--days", "2"}).exitCode,
              0);
    EXPECT_NE(read("s.key.pem"), key);
    EXPECT_EQ(std::filesystem::status("s.key.pem").permissions(), perms::owner_read | perms::owner_write);
    const Outcome openssl = shell("openssl x509 -in s.certificate.pem -noout -subject -checkend 170000");
    EXPECT_EQ(openssl.exitCode, 0);
    EXPECT_CONTAINS(openssl.out, "CN = Shop");
}

TEST_F(ConfigSigning, RefusesWhatCannotBeSigned) {
    signPayload();
    write("bad.json", "{\n \"a\": [1,}\n}");
    write("array.json", "[1]");
    write("large.json", R"({"x":")" + std::string(17U << 20, 'a') + "\"}");
    const Call calls[] = {
        {{"bad.json", "--signing-key", "s.key.pem"},
         1,
         "bad.json: no JSON: syntax error — line 2, column 10\n   \"a\": [1,}\n           ^\n"},
        {{"array.json", "--signing-key", "s.key.pem"}, 1, "no JSON object"},
        {{"large.json", "--signing-key", "s.key.pem"},
         1,
         "applications refuse an answer of more than 16777216"},
        {{"signed.json", "--signing-key", "s.key.pem"}, 1, "is an envelope already"},
        {{"payload.json", "--signing-key", "s.certificate.pem"}, 1, "holds no private key"},
        {{"payload.json", "--signing-key", "missing.pem"}, 1, "missing.pem: cannot be read"},
        {{"payload.json", "--signing-key", "s.key.pem", "--date", "today"}, 2, "--date"},
    };
    expectTold({"config", "sign"}, calls);
}

TEST_F(ConfigSigning, OldSpellingsWorkAndAnApplicationsKeyIsNotTakenForAFile) {
    signPayload();
    const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
    std::filesystem::copy_file("s.key.pem", key);
    const std::string refusal =
        "--key: \"" + key + "\" is an application's key, which this command does not take";
    const Call calls[] = {
        {{"sign", "payload.json", "--key", "s.key.pem"}, 0, "signature_v0"},
        {{"sign", "payload.json", "--key", key}, 2, refusal},
        {{"sign", "payload.json", "--key", "2E8F6C1A-7B3D-4E5F-9A0B-1C2D3E4F5A6B"},
         2,
         "is an application's key"},
        {{"sign", "payload.json", "--signing-key", key}, 0, "signature_v0"},
        {{"sign", "payload.json", "--signing-key", "s.key.pem", "--key", "s.key.pem"}, 2, "--signing-key: "},
        {{"sign", "payload.json"}, 2, "--signing-key is required"},
        {{"export", "flags", "public", "--key", key, "--certificate", "s.certificate.txt"}, 2, refusal},
        {{"verify", "signed.json", "--certificate", "s.certificate.txt", "--app-key", "k"},
         0,
         "ok       application"},
    };
    expectTold({"config"}, calls);
    EXPECT_CONTAINS(kiv({"config", "verify", "signed.json", "--app-key", "other"}).out, "expected \"other\"");
    EXPECT_EQ(output({"config", "sign", "--help"}).find("--key"), std::string::npos);
    EXPECT_EQ(output({"config", "verify", "--help"}).find("--app-key"), std::string::npos);
}

TEST_F(ConfigSigning, VerifyNamesWhatIsWrong) {
    const Signer signer = makeSigner();
    const std::string text = signer.sign(R"({"application": "k", "experiments": [1, 2]})");
    const std::string signature = signer.signature(R"({"application": "k", "experiments": [1, 2]})");
    using Change = std::function<void(kiv::json::object&)>;
    const struct {
        Change change;
        int exitCode;
        std::string told;
    } cases[] = {
        {[](auto&) {}, 0, "ok       data           43 bytes, 2 experiments, 0 target groups"},
        {[](auto& e) { e.erase("data"); }, 1, "wrong    data           missing"},
        {[](auto& e) { e["data"] = 5; }, 1, "wrong    data           not a text"},
        {[](auto& e) { e["data"] = "{\"a\": "; }, 1, "wrong    data           no JSON"},
        {[](auto& e) { e["data"] = R"({"application": "k"})"; }, 1, "wrong    signature_v0   does not match"},
        {[](auto& e) { e.erase("signature_v0"); }, 1, "wrong    signature_v0   missing"},
        {[&](auto& e) { e["signature_v0"] = signature + "\n"; }, 1, "wrong    signature_v0   not base64"},
        {[](auto& e) { e["signature_v0"] = "AAAA"; }, 1, "wrong    signature_v0   too short: 3 bytes"},
        {[&](auto& e) {
             e["signature_v0"] = kiv::encodeBase64(kiv::decodeBase64(signature).value() + "more");
         },
         0, "warning  signature_v0   longer"},
        {[&](auto& e) {
             e["data"] = "{}";
             e["signature_v0"] = signer.signature("{}");
         },
         1, "wrong    application    missing"},
        {[](auto& e) { e["signed_date"] = "2026-02-31T12:00:00.000Z"; }, 0,
         "warning  signed_date    not a date"},
        {[](auto& e) { e.erase("signed_date"); }, 0, "warning  signed_date    missing"},
    };
    for (const auto& each : cases) {
        kiv::json::object envelope = parsed(text).get_object();
        each.change(envelope);
        write("envelope.json", kiv::compactJson(envelope));
        const Outcome outcome = kiv(
            {"config", "verify", "envelope.json", "--certificate", signer.certificateBase64, "--key", "k"});
        EXPECT_EQ(outcome.exitCode, each.exitCode) << each.told;
        EXPECT_CONTAINS(outcome.out, each.told);
        EXPECT_EQ(outcome.err.empty(), each.exitCode == 0) << outcome.err;
    }
}

TEST_F(ConfigSigning, VerifyTakesCertificatesInEveryForm) {
    signPayload();
    write("broken.txt", read("s.certificate.txt").insert(64, "\n"));
    write("huge.json", "{\"data\": \"" + std::string(64U << 20, 'x') + "\"}");
    const Call calls[] = {
        {{"signed.json", "--certificate", "s.certificate.txt"}, 0, "key of s.certificate.txt"},
        {{"signed.json", "--certificate", "s.certificate.pem"}, 0, "key of s.certificate.pem"},
        {{KIV_TEST_DATA "/builtin-signed.json"}, 0, "key of the built-in certificate"},
        {{"signed.json"}, 1, "other than that of the built-in certificate"},
        {{"signed.json", "--certificate", "broken.txt"}, 1, "has line breaks"},
        {{"signed.json", "--certificate", "s.key.pem"}, 1, "no certificate"},
        {{"signed.json", "--certificate", "s.certificate.txt", "--key", "other"},
         1,
         "expected \"other\", actual \"k\""},
        {{"huge.json"}, 1, "larger than 64 MiB"},
        {{"payload.json"}, 1, "'kiv config sign' makes one"},
    };
    for (const Call& each : calls) {
        const Outcome outcome = kiv(joined({"config", "verify"}, each.arguments));
        EXPECT_EQ(outcome.exitCode, each.exitCode) << each.told;
        EXPECT_CONTAINS(outcome.out + outcome.err, each.told);
    }
}

} // namespace
