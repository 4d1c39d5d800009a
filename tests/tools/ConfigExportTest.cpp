#include "KivCommand.h"

#include "Background.h"
#include "Platform/Crypto/Digest.h"
#include "Support/SilentServer.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";

class ConfigExport : public KivCommand {
protected:
    ConfigExport() {
        std::filesystem::create_directory("flags");
        write("flags/" + key + ".flags.json", R"({"experiments": []})");
    }

    /// The path that an application asks a configuration CDN for, below the endpoint.
    static std::string pathFor(const std::string& certificateFile) {
        std::string certificate = read(certificateFile);
        certificate.pop_back();
        return key + "/" + kiv::md5Hex("iOS|1.9.0|" + key + "|" + kiv::md5Hex(certificate) + "|5.0.16");
    }

    static void writeNginxConfiguration(const std::string& address) {
        std::string temporaryPaths;
        for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
            temporaryPaths += std::string(kind) + "_temp_path temporary;\n";
        }
        write("nginx.conf", "daemon off; master_process off; pid nginx.pid; error_log stderr;\n"
                            "events {}\nhttp { access_log off;\n" +
                                temporaryPaths + "server { listen " + address +
                                "; root public; default_type application/json; } }\n");
    }
};

TEST_F(ConfigExport, IsServedByAnyWebServer) {
    ASSERT_EQ(kiv({"config", "export", "flags", "public"}).exitCode, 0);
    const std::string server = SilentServer().url(); // on a port that is free again
    writeNginxConfiguration(server.substr(server.rfind('/') + 1));
    Background nginx("nginx -p '" + folder + "' -e stderr -c nginx.conf 2>nginx.err");
    const std::string target = server + "/" + pathFor("flags/.kiv/signing.certificate.txt");
    const std::string curl = "curl -sS --noproxy '*' --retry 50 --retry-delay 1 --retry-connrefused "
                             "-o fetched.json -w '%{http_code} %{content_type}' '";
    const Outcome fetched = shell(curl + target + "?canticache=7'");
    EXPECT_EQ(fetched.out, "200 application/json") << fetched.err << read("nginx.err");
    output({"config", "verify", "fetched.json", "--certificate", "flags/.kiv/signing.certificate.txt",
            "--key", key});
    EXPECT_EQ(shell(curl + target + "0'").out, "404 text/html");

    // An application that fetches it.
    std::string certificate = read("flags/.kiv/signing.certificate.txt");
    certificate.pop_back();
    const Outcome application =
        kiv({"shell"}, R"({"do":"host","libraryDirectory":")" + folder + "/library\"}\n" +
                           R"({"do":"setup","key":")" + key + R"(","options":{"customSigningCertificate":")" +
                           certificate + R"(","networkConfigurations":{"getConfigCloudEndpoint":")" + server +
                           "\"}}}\n" + R"({"do":"wait","event":"configurationFetched","timeout":20})" + "\n");
    EXPECT_NE(application.out.find(R"("fetcherStatus":3)"), std::string::npos) << application.out;
    EXPECT_EQ(nginx.end(SIGQUIT), 0);
}

TEST_F(ConfigExport, SignsWithTheGivenKeyAndWritesAllOrNothing) {
    ASSERT_EQ(kiv({"config", "keygen", "--out", "a"}).exitCode, 0);
    ASSERT_EQ(kiv({"config", "keygen", "--out", "b"}).exitCode, 0);
    const auto exported = [&](const std::string& keyFile, const std::string& certificate) {
        return kiv(
            {"config", "export", "flags", "public", "--signing-key", keyFile, "--certificate", certificate});
    };
    const Outcome mixed = exported("a.key.pem", "b.certificate.txt");
    EXPECT_EQ(mixed.exitCode, 1);
    EXPECT_CONTAINS(mixed.err, "b.certificate.txt: is not the certificate of a.key.pem");
    const Outcome keyAlone = kiv({"config", "export", "flags", "public", "--signing-key", "a.key.pem"});
    EXPECT_EQ(keyAlone.exitCode, 2);
    EXPECT_CONTAINS(keyAlone.err, "--signing-key and --certificate belong together");

    write("flags/0123456789abcdef01234567.flags.json", R"({"experiments": 5})");
    const Outcome wrong = exported("a.key.pem", "a.certificate.pem");
    EXPECT_EQ(wrong.exitCode, 1);
    EXPECT_CONTAINS(wrong.err, "0123456789abcdef01234567.flags.json: error: ");
    EXPECT_FALSE(std::filesystem::exists("public"));

    write("flags/0123456789abcdef01234567.flags.json", "{}");
    EXPECT_EQ(exported("a.key.pem", "a.certificate.pem").exitCode, 0);
    const std::string path = "public/" + pathFor("a.certificate.txt");
    EXPECT_EQ(kiv({"config", "verify", path, "--certificate", "a.certificate.txt"}).exitCode, 0) << path;

    const Outcome oldSpelling = kiv(
        {"config", "export", "flags", "public", "--key", "a.key.pem", "--certificate", "a.certificate.txt"});
    EXPECT_EQ(oldSpelling.exitCode, 0) << oldSpelling.err;
    EXPECT_FALSE(std::filesystem::exists("flags/.kiv"));
}

} // namespace
