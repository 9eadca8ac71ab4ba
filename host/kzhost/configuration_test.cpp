#include "configuration.h"

#include <gtest/gtest.h>

#include <vector>

namespace kzhost {
namespace {

TEST(ConfigurationTest, BuiltInConfigurationNamesTheTwoSamples) {
  Configuration config;
  std::string error;
  ASSERT_TRUE(ReadConfiguration(EmbeddedConfiguration(), config, error)) << error;
  EXPECT_EQ(config.address, "127.0.0.1");
  EXPECT_EQ(config.max_body_bytes, 16u * 1024 * 1024);
  ASSERT_EQ(config.services.size(), 2u);
  EXPECT_EQ(config.services[0].name, "Info");
  EXPECT_EQ(config.services[1].name, "Geometry");
  EXPECT_EQ(config.services[1].clsid, kz::pal::GuidFromText("{8F005008-47FE-4A00-A4EA-080D762B653E}"));
  EXPECT_TRUE(CheckConfiguration(config, error)) << error;
}

TEST(ConfigurationTest, GuidTextsReadLikeTheCompileTimeParser) {
  // The compile-time parser of the platform layer is the reference.
  for (const char *text : {"{00000000-0000-0000-C000-000000000046}", "{84c15e4e-5806-40d5-8a49-ee8f6e0ee7a1}",
                           "{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}"}) {
    auto g = ParseGuid(text);
    ASSERT_TRUE(g) << text;
    EXPECT_EQ(*g, kz::pal::GuidFromText(text)) << text;
  }
  for (const char *bad : {"", "{}", "00000000-0000-0000-C000-000000000046", "{00000000-0000-0000-C000-00000000004}",
                          "{00000000-0000-0000-C000-0000000000467}", "{00000000+0000-0000-C000-000000000046}",
                          "{0000000G-0000-0000-C000-000000000046}", "{00000000-0000-0000-C000-000000000046"})
    EXPECT_FALSE(ParseGuid(bad)) << bad;
}

TEST(ConfigurationTest, FileKeepsWhatItDoesNotMention) {
  Configuration config;
  std::string error;
  ASSERT_TRUE(ReadConfiguration(R"({"port":0,"allowedHosts":["a","b"],
      "services":[{"name":"S","clsid":"{00000000-0000-0000-C000-000000000046}","module":"/x.so"}]})",
                                config, error))
      << error;
  EXPECT_EQ(config.port, 0);
  EXPECT_EQ(config.address, "127.0.0.1");
  EXPECT_EQ(config.workers, 2u);
  EXPECT_EQ(config.allowed_hosts, (std::vector<std::string>{"a", "b"}));
  ASSERT_EQ(config.services.size(), 1u);
  EXPECT_EQ(config.services[0].module, "/x.so");
  EXPECT_EQ(config.services[0].capabilities, "");
}

TEST(ConfigurationTest, BadFilesAreRefusedWithAReasonAndChangeNothing) {
  const char *bad[] = {
      "",
      "[]",
      R"({"port":65536})",
      R"({"port":-1})",
      R"({"port":"80"})",
      R"({"workers":1.5})",
      R"({"colour":"red"})",
      R"({"allowedHosts":"a"})",
      R"({"services":[{"clsid":"{00000000-0000-0000-C000-000000000046}"}]})",
      R"({"services":[{"name":"a/b","clsid":"{00000000-0000-0000-C000-000000000046}"}]})",
      R"({"services":[{"name":"S","clsid":"nope"}]})",
      R"({"services":[{"name":"S","clsid":"{00000000-0000-0000-C000-000000000046}"},
                      {"name":"S","clsid":"{00000000-0000-0000-C000-000000000046}"}]})",
      R"({"services":[{"name":"S","clsid":"{00000000-0000-0000-C000-000000000046}","capabilities":1}]})",
  };
  for (const char *text : bad) {
    Configuration config;
    config.port = 1234;
    std::string error;
    EXPECT_FALSE(ReadConfiguration(text, config, error)) << text;
    EXPECT_FALSE(error.empty()) << text;
    EXPECT_EQ(config.port, 1234) << text;
  }
}

TEST(ConfigurationTest, CommandLineOverridesTheFile) {
  const char *argv[] = {"kzhost", "--port", "0", "-a", "::1", "--workers=4", "--max-body", "100",
                        "--allow-host", "x", "--allow-host=y", "--read-timeout", "1", "-c", "f.json"};
  CommandLine line;
  std::string error;
  ASSERT_TRUE(ParseCommandLine(std::size(argv), argv, line, error)) << error;
  EXPECT_EQ(line.config_file, "f.json");
  Configuration config;
  config.allowed_hosts = {"w"};
  ApplyCommandLine(line, config);
  EXPECT_EQ(config.port, 0);
  EXPECT_EQ(config.address, "::1");
  EXPECT_EQ(config.workers, 4u);
  EXPECT_EQ(config.max_body_bytes, 100u);
  EXPECT_EQ(config.read_timeout_seconds, 1u);
  EXPECT_EQ(config.write_timeout_seconds, 10u);
  EXPECT_EQ(config.allowed_hosts, (std::vector<std::string>{"w", "x", "y"}));
}

TEST(ConfigurationTest, BadCommandLinesAreRefused) {
  std::vector<std::vector<const char *>> bad = {
      {"kzhost", "--port"},           {"kzhost", "--port", "65536"}, {"kzhost", "--port", "8o"},
      {"kzhost", "--workers", "0"},   {"kzhost", "--bogus"},         {"kzhost", "--help=yes"},
      {"kzhost", "--max-line", "10"}, {"kzhost", "--read-timeout", "-1"},
  };
  for (const auto &args : bad) {
    CommandLine line;
    std::string error;
    EXPECT_FALSE(ParseCommandLine(static_cast<int>(args.size()), args.data(), line, error)) << args.back();
    EXPECT_FALSE(error.empty());
  }
}

TEST(ConfigurationTest, HelpDocumentsEveryOption) {
  std::string_view help = HelpText();
  for (const char *option : {"--config", "--address", "--port", "--workers", "--max-body", "--max-headers",
                             "--max-line", "--max-connections", "--read-timeout", "--write-timeout",
                             "--allow-host", "--print-config", "--help", "--version"})
    EXPECT_NE(help.find(option), std::string_view::npos) << option;
}

}  // namespace
}  // namespace kzhost
