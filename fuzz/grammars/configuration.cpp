// A configuration file, under the rules of all plug-ins.
#include "fuzz/play.h"
#include "host/service/fw_ConfigFile.h"
#include "host/web/ht_WebSettings.h"
#include "util/fw_ShownText.h"

void play(const std::string& input) {
  static const test::Temporary files;
  framework::Logger::setLevel(-1);
  files.write("mc.toml", input);
  framework::ConfigFile file(files.path("mc.toml"));
  if (file.arePluginsKnown()) file.checkInstances();
  if (!file.isRefused()) services::http::webFault(file.config());
  for (const auto& finding : file.findings()) {
    REQUIRE(framework::isShown(finding.text));
    REQUIRE(finding.text.starts_with(files.path("mc.toml:")) ||
            finding.text.starts_with("environment: "));
  }
}
