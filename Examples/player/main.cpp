// A small player's window on the library: downloads, and what is done with them.
//
//   player --demo              three downloads from an origin of its own on loopback, into a folder that goes with it
//   player --folder DIR …      against the sites that the other options name

#include <QApplication>
#include <QCommandLineParser>
#include <QDesktopServices>
#include <QDir>
#include <QLocale>
#include <QStandardPaths>
#include <cstdio>
#include <exception>
#include <functional>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "Chinese.h"
#include "DemoSite.h"
#include "DisposableFolder.h"
#include "DownloadModel.h"
#include "Library.h"
#include "MainWindow.h"

namespace {

constexpr unsigned kDemoSlowness = 4;  // time enough to pause
constexpr int kExitUsage = 2;

/// What the command line says.
struct Arguments {
  bool demo = false;
  QString folder;
  site::Settings sites;
};

Arguments readArguments(const QCoreApplication& app) {
  QCommandLineParser parser;
  parser.setApplicationDescription("Downloads videos for watching offline.");
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addOptions({
      {"demo", "Download from an origin of the player's own on loopback."},
      {"folder", "Where downloads go.", "DIR"},
      {"info-base", "Base address of the video-information service.", "URL"},
      {"mkey", "Playback key of HLS videos.", "KEY"},
      {"cookie", "Sent with a playlist's request.", "TEXT"},
      {"segment-base", "What relative segment addresses belong to.", "URL"},
      {"mp4-info", "File of the second site's metadata, as zrdl takes it.", "FILE"},
  });
  parser.process(app);
  const auto text = [&parser](const char* option) { return parser.value(option).toStdString(); };
  Arguments arguments;
  arguments.demo = parser.isSet("demo");
  arguments.folder = parser.value("folder");
  arguments.sites.infoBase = text("info-base");
  arguments.sites.mkey = text("mkey");
  arguments.sites.cookie = text("cookie");
  arguments.sites.segmentBase = text("segment-base");
  arguments.sites.mp4Info = text("mp4-info");
  return arguments;
}

ZRHostInfo hostIn(const QString& folder, const std::string& infoBase) {
  ZRHostInfo host = ZRHostInfo::defaults();
  host.bundleIdentifier = "com.velmor.player";
  host.shortVersion = ZRDownloadKitVersionString;
  host.videoInfoBaseURL = infoBase;
  if (folder.isEmpty()) return host;
  host.applicationSupportFolder = QDir(folder).absoluteFilePath("support").toStdString();
  host.moviesFolder = QDir(folder).absoluteFilePath("movies").toStdString();
  return host;
}

/// The window, and what `begin` does once the library is there.
int show(ZRHostInfo host, site::Answers answers, const std::vector<site::TaskRequest>& suggestions,
         const std::function<void(ZRDownloadManager&)>& begin) {
  player::Library library(std::move(host), std::move(answers));
  player::DownloadModel model(library.manager());
  player::MainWindow window(library.manager(), model, suggestions, &QDesktopServices::openUrl);
  window.show();
  begin(library.manager());
  return QApplication::exec();
}

/// Goes on with what is stored of them in a folder that the user named.
int showDemo(const QString& folder) {
  std::optional<player::DisposableFolder> temporary;
  if (folder.isEmpty()) temporary.emplace();
  const site::DemoOrigin origin(kDemoSlowness);
  const std::vector<site::TaskRequest> requests{site::demoHls(), site::demoMp4(), site::demoShare(origin)};
  return show(hostIn(temporary ? QString::fromStdString(temporary->path()) : folder, origin.infoBase()),
              site::demoAnswers(origin), requests, [&requests](ZRDownloadManager& manager) {
                for (const site::TaskRequest& request : requests) std::ignore = manager.addTask(request.make());
                manager.starTasks(manager.allUnFinishTaskArr());
              });
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("player");
  QApplication::setApplicationVersion(ZRDownloadKitVersionString);
  player::Chinese chinese;
  if (QLocale().language() == QLocale::Chinese) QApplication::installTranslator(&chinese);
  try {
    const Arguments arguments = readArguments(app);
    if (arguments.demo) return showDemo(arguments.folder);
    return show(hostIn(arguments.folder, arguments.sites.infoBase), site::Answers::of(arguments.sites), {},
                [](auto&) {});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "player: %s\n", error.what());
    return kExitUsage;
  }
}
