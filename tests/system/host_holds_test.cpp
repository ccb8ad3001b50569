/// The host as one of several holders of named events.
#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class HostHolds : public HostTest {
protected:
    static std::vector<std::string> GetSignals(const CHostProcess& host) { return host.GetEvents("NamedEvent"); }
    /// Has every signal that came before shown.
    static void ReleaseAll(CHostProcess& host, std::initializer_list<std::string> arNames) {
        for (const std::string& strName : arNames) EXPECT_EQ(host.AskForError("release " + strName), "");
    }
};

TEST_F(HostHolds, ShowTheSignalsOfAnEventFromTheHoldOn) {
    CHostProcess& host = Start();
    host.Ask("topic signal 0 1 Ready.A");
    EXPECT_EQ(host.AskForError(R"({"do":"hold","name":"Ready.A"})"), "");
    host.Ask("topic signal 0 1 Ready.B");
    host.Ask("topic signal 0 1 Ready.A");
    EXPECT_EQ(host.Ask("wait NamedEvent name=Ready.A")["found"]["name"], "Ready.A");
    ReleaseAll(host, {"Ready.A"});
    EXPECT_THAT(GetSignals(host), ElementsAre(R"({"name":"Ready.A"})"));
}

TEST_F(HostHolds, ShowEachSignalOnceThoughTheEventStaysSignalled) {
    CHostProcess& host = Start();
    host.Ask("hold Ready");
    host.Ask("topic signal 0 1 Ready");
    host.Ask("wait NamedEvent");
    EXPECT_EQ(host.AskForError("wait NamedEvent timeout 50"), "timeout");
    host.Ask("topic signal 0 1000 Ready");
    ReleaseAll(host, {"Ready"});
    EXPECT_THAT(GetSignals(host), SizeIs(1'001));
}

TEST_F(HostHolds, TakeNoSignalFromTheModulesThatWait) {
    CHostProcess& host = Start();
    host.Ask("hold Ready");
    EXPECT_EQ(host.AskFor("topic await 0 0 Ready", "data"), "1") << "not signalled yet";
    host.Ask("topic signal 0 1 Ready");
    host.Ask("wait NamedEvent");
    EXPECT_EQ(host.AskFor("topic await 0 0 Ready", "data"), "0");
    EXPECT_EQ(host.AskFor("topic await 0 0 Ready", "data"), "0");
}

TEST_F(HostHolds, EndWithTheirReleaseAndLeaveNoEventBehind) {
    CHostProcess& host = Start();
    host.Ask("hold Ready");
    ReleaseAll(host, {"Ready"});
    EXPECT_EQ(host.AskFor("topic await 0 0 Ready", "data"), "-1");
    host.Ask("topic signal 0 1 Ready");
    EXPECT_EQ(host.AskForError("wait NamedEvent timeout 50"), "timeout");
    EXPECT_EQ(host.AskForError("release Ready"), R"("Ready" isn't held)");
}

TEST_F(HostHolds, OfTheSameNameAreOne) {
    CHostProcess& host = Start();
    host.Ask("hold Ready");
    EXPECT_EQ(host.AskForError("hold Ready"), "");
    host.Ask("topic signal 0 1 Ready");
    ReleaseAll(host, {"Ready"});
    EXPECT_THAT(GetSignals(host), SizeIs(1));
    EXPECT_EQ(host.AskFor("topic await 0 0 Ready", "data"), "-1");
}

TEST_F(HostHolds, OfManyNamesAreToldApart) {
    CHostProcess& host = Start();
    for (const char* pszName : {"A", "B", "a"}) host.Ask(std::string("hold ") + pszName);
    for (const char* pszName : {"a", "B", "A", "B"}) host.Ask(std::string("topic signal 0 1 ") + pszName);
    ReleaseAll(host, {"A", "B", "a"});
    EXPECT_THAT(GetSignals(host), ::testing::UnorderedElementsAre(R"({"name":"A"})", R"({"name":"B"})",
                                                                  R"({"name":"B"})", R"({"name":"a"})"));
}

TEST_F(HostHolds, TakeNamesOfAnyLengthAndRefuseAnEmptyOne) {
    CHostProcess& host = Start();
    const std::string strName = "K." + std::string(10'000, 'x');
    EXPECT_EQ(host.AskForError(R"({"do":"hold","name":")" + strName + R"("})"), "");
    host.Ask(R"({"do":"topic","topic":"signal","text":")" + strName + R"("})");
    EXPECT_EQ(host.Ask("wait NamedEvent")["found"]["name"], strName.c_str());
    EXPECT_EQ(host.AskForError(R"({"do":"hold","name":""})"), R"(can't hold the event "")");
    EXPECT_EQ(host.AskForError(R"({"do":"release","name":""})"), R"("" isn't held)");
    EXPECT_THAT(host.AskForError(R"({"do":"hold"})"), HasSubstr("name"));
    EXPECT_EQ(host.AskForError("hold"), "usage: hold NAME");
}

TEST_F(HostHolds, DontKeepTheHostFromItsEnd) {
    CHostProcess& host = Start();
    for (int i = 0; i < 20; ++i) host.Ask("hold Ready." + std::to_string(i));
    host.Ask("topic signal 0 1 Ready.7");
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_THAT(GetSignals(host), ElementsAre(R"({"name":"Ready.7"})"));
}

TEST_F(HostHolds, ShowAtAPromptAsALineWithTheName) {
    const std::string strOutput = RunWords("hold Ready\ntopic signal 0 1 Ready\nrelease Ready\nquit\n");
    EXPECT_THAT(strOutput, HasSubstr("NamedEvent"));
    EXPECT_THAT(strOutput, HasSubstr("  Ready\n"));
}

}  // namespace

}  // namespace qvant::test
