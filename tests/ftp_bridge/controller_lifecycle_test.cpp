#include <tovik/exception.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::LeakCheck;
using testing_support::LogCapture;
using testing_support::ScopedDispatcher;

static_assert(!std::is_polymorphic_v<Controller>);

/// A controller of the test's own, on whatever dispatchers there are.
class Construction : public ::testing::Test {
 protected:
  std::unique_ptr<Controller> make(const std::string& dispatcherName) {
    return std::make_unique<Controller>(someConnection(), &client, dispatcherName, 0, nullptr);
  }

  const LeakCheck leakCheck_{};
  const LogCapture log;
  RecordingClient client;
};

TEST_F(Construction, NeitherConnectsNorLogs) {
  const ScopedDispatcher dispatcher("ftp");
  const auto controller = make("ftp");
  EXPECT_THAT(log.texts(), IsEmpty());
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(Construction, KeepsWhatItWasGivenAndStartsIdle) {
  const ScopedDispatcher dispatcher("ftp");
  const auto controller = make("ftp");
  EXPECT_EQ(controller->client, &client);
  EXPECT_NE(controller->transport, nullptr);
  EXPECT_EQ(controller->connection.server, someConnection().server);
  EXPECT_EQ(controller->connection.account, "books");
  EXPECT_EQ(controller->dataConnector, nullptr);
  EXPECT_EQ(controller->localAddr.s_addr, someConnection().local.native().sin_addr.s_addr);
  EXPECT_EQ(controller->command, cmd_e::none);
  EXPECT_EQ(controller->received, nullptr);
  EXPECT_EQ(controller->replyText, "");
  EXPECT_EQ(controller->fileName, "");
}

TEST_F(Construction, WarnsOfAnUnknownDispatcherAndUsesNumberZero) {
  const ScopedDispatcher dispatcher("ftp");
  const auto controller = make("nobody");
  EXPECT_THAT(log.texts(), ElementsAre("Tovik: ftp control: unknown dispatcher nobody"));
  EXPECT_EQ(log.entries().at(0).level, 30);
  EXPECT_TRUE(controller->getPwd());
}

TEST_F(Construction, ThrowsWithoutAnyDispatcher) {
  try {
    make("nobody");
    FAIL() << "nothing was thrown";
  } catch (const Exception& exception) {
    EXPECT_STREQ(exception.what(), "ftp control: no dispatcher");
  }
  EXPECT_THAT(log.texts(), ElementsAre("Tovik: ftp control: unknown dispatcher nobody"));
}

TEST_F(Construction, PrefersTheNamedDispatcherToNumberZero) {
  const ScopedDispatcher zero("zero");
  const ScopedDispatcher one("one");
  const auto controller = make("one");
  controller->transport->call([&] { EXPECT_TRUE(DispatchStore::inst().fetch("one")->workers_.at(0)->isCurrent()); });
}

/// Tells the begin and the end of a worker's service.
class Callbacks : public ThreadCallbacks {
 public:
  void onThreadStart(WorkerThread& worker) override {
    lines_.change([&](auto& lines) { note(lines, "start", worker); });
  }
  void onThreadStop(WorkerThread& worker) override {
    lines_.change([&](auto& lines) { note(lines, "stop", worker); });
  }
  std::vector<std::string> lines() const { return lines_.get(); }

 private:
  static void note(std::vector<std::string>& lines, const std::string& text, const WorkerThread& worker) {
    lines.push_back(text + (worker.isCurrent() ? " on the worker" : " elsewhere"));
  }

  testing_support::Awaited<std::vector<std::string>> lines_;
};

TEST_F(Construction, PassesItsThreadCallbacksOn) {
  const ScopedDispatcher dispatcher("ftp");
  Callbacks callbacks;
  { const Controller controller(someConnection(), &client, "ftp", 0, &callbacks); }
  EXPECT_THAT(callbacks.lines(), ElementsAre("start on the worker", "stop on the worker"));
}

class Lifecycle : public ControllerFixture {
 protected:
  Lifecycle() {
    loggedIn();
    forget();
  }
};

TEST_F(Lifecycle, StopsTwiceWithSuccess) {
  EXPECT_TRUE(controller->getNlst(false));
  EXPECT_NE(controller->dataConnector, nullptr);
  const Result first = controller->stop();
  EXPECT_TRUE(first);
  EXPECT_EQ(first.message, "");
  EXPECT_EQ(controller->dataConnector, nullptr);
  EXPECT_TRUE(controller->stop());
}

TEST_F(Lifecycle, KeepsItsCommandAndItsDataAcrossStop) {
  EXPECT_TRUE(controller->getFile("file", true));
  dataArrives("x");
  EXPECT_TRUE(controller->stop());
  EXPECT_EQ(controller->command, cmd_e::retr);
  ASSERT_NE(controller->received, nullptr);
  EXPECT_EQ(*controller->received, "x");
  EXPECT_EQ(controller->getPwd().message, "retr still active");
  EXPECT_NE(controller->transport, nullptr);
}

TEST_F(Lifecycle, SaysThatItIsNotRunningWithoutATransport) {
  Transport* const transport = std::exchange(controller->transport, nullptr);
  const Result stopped = controller->stop();
  controller->transport = transport;
  EXPECT_FALSE(stopped);
  EXPECT_EQ(stopped.message, "not running");
}

TEST_F(Lifecycle, DestroysItsDataConnectorEvenWithoutATransport) {
  controller->dataConnector = new DataConnector(*controller);
  Transport* const transport = std::exchange(controller->transport, nullptr);
  EXPECT_EQ(controller->stop().message, "not running");
  controller->transport = transport;
  EXPECT_EQ(controller->dataConnector, nullptr);
}

TEST_F(Lifecycle, LeavesAFileThatItStillHoldsToWhoeverTookIt) {
  EXPECT_TRUE(controller->getFile("file", true));
  dataArrives("x");
  const std::unique_ptr<std::string> held(controller->received);
  controller.reset();
  EXPECT_EQ(*held, "x");
}

TEST_F(Lifecycle, NotifiesTheClientOfASuccessfulLogin) {
  controller->onControlUp();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected"));
  EXPECT_EQ(controller->command, cmd_e::none);
}

TEST_F(Lifecycle, TakesACommandInsideOnConnected) {
  client.onConnectedDo([&] { EXPECT_TRUE(controller->getPwd()); });
  controller->onControlUp();
  EXPECT_THAT(channel.sent(), ElementsAre("PWD\r\n"));
}

TEST_F(Lifecycle, StaysBusyWithTheCommandThatTheConnectionDroppedIn) {
  EXPECT_TRUE(controller->getPwd());
  interpreter().onChannelDown(&channel, 0);
  interpreter().onConduitInactive(nullptr);
  EXPECT_THAT(client.lines(), ElementsAre("onDisconnected"));
  EXPECT_EQ(controller->command, cmd_e::pwd);
  EXPECT_EQ(controller->cdUp().message, "pwd still active");
}

TEST_F(Lifecycle, ReportsASetUpFailureOfAListing) {
  controller->command = cmd_e::nlst;
  controller->replyText = "why";
  controller->onError();
  EXPECT_THAT(client.lines(), ElementsAre("onNlstFailed why"));
  EXPECT_EQ(controller->command, cmd_e::none);
}

TEST_F(Lifecycle, ReportsASetUpFailureOfARetrieval) {
  controller->command = cmd_e::retr;
  controller->replyText = "why";
  controller->fileName = "file";
  controller->onError();
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieveFailed file | why"));
  EXPECT_EQ(controller->command, cmd_e::none);
}

TEST_F(Lifecycle, ReportsNoSetUpFailureOfOtherCommandsAndIsIdleAfterwards) {
  for (const cmd_e command : {cmd_e::none, cmd_e::pwd, cmd_e::cwd, cmd_e::cdup, cmd_e::quit}) {
    controller->command = command;
    controller->onError();
    EXPECT_EQ(controller->command, cmd_e::none);
  }
  EXPECT_THAT(client.lines(), IsEmpty());
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Lifecycle, IsIdleBeforeItReportsASetUpFailure) {
  client.whenever("onNlstFailed", [&] { EXPECT_TRUE(controller->getPwd()); });
  controller->command = cmd_e::nlst;
  controller->onError();
  EXPECT_EQ(controller->command, cmd_e::pwd);
}

TEST_F(Lifecycle, LogsOutWithQuit) {
  const Result result = controller->sendLogout();
  EXPECT_TRUE(result);
  EXPECT_EQ(result.message, "");
  EXPECT_THAT(channel.sent(), ElementsAre("QUIT\r\n"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller logging out", "Tovik: [FTP] QUIT"));
  EXPECT_EQ(log.entries().back().level, 0);
  EXPECT_EQ(controller->command, cmd_e::quit);
  EXPECT_EQ(interpreter().pending, pending_e::quit);
}

TEST_F(Lifecycle, RefusesEverythingAfterLogout) {
  EXPECT_TRUE(controller->sendLogout());
  serverSends("221 Bye");
  const Result refused = controller->getPwd();
  EXPECT_FALSE(refused);
  EXPECT_EQ(refused.message, "quit still active");
}

TEST_F(Lifecycle, PassesOnTheFrameworksRefusalToStart) {
  ASSERT_TRUE(controller->connection.local.set_host("192.0.2.1"));
  const Result started = controller->start();
  EXPECT_FALSE(started);
  EXPECT_NE(started.message, "");
  EXPECT_EQ(controller->command, cmd_e::none);
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_THAT(client.lines(), IsEmpty());
}

}  // namespace
}  // namespace tovik::ftp
