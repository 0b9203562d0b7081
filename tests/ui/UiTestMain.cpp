// The one executable of the window tests: `UiTests <TestClass> [Qt Test options]` runs that
// class on the offscreen platform (unless a platform is chosen); ctest has one entry per class.

#include <QApplication>
#include <cstdio>
#include <map>

#include "UiTestSupport.h"

namespace pellix::uitest {

namespace {

struct RegisteredTest {
    UiTestFactory factory;
    std::function<void()> beforeApplication;
};

std::map<std::string, RegisteredTest>& registry() {
    static std::map<std::string, RegisteredTest> tests;
    return tests;
}

}  // namespace

bool registerUiTest(const char* qualifiedName, UiTestFactory factory,
                    std::function<void()> beforeApplication) {
    std::string name = qualifiedName;
    name = name.substr(name.rfind(':') == std::string::npos ? 0 : name.rfind(':') + 1);
    registry().emplace(std::move(name),
                       RegisteredTest{std::move(factory), std::move(beforeApplication)});
    return true;
}

int runRegisteredUiTest(int argc, char** argv) {
    const auto found = argc > 1 ? registry().find(argv[1]) : registry().end();
    if (found == registry().end()) {
        std::fprintf(stderr, "usage: %s TEST_CLASS [Qt Test options]; the classes:\n", argv[0]);
        for (const auto& [name, test] : registry()) std::fprintf(stderr, "  %s\n", name.c_str());
        return 2;
    }
    if (found->second.beforeApplication) found->second.beforeApplication();
    useHeadlessPlatformUnlessChosen();
    // The class name takes the place of the program name, so Qt Test sees its own options only.
    QApplication app(argc, argv);
    QApplication::setAttribute(Qt::AA_Use96Dpi, true);
    theme::applyApplicationAppearance(app);
    std::unique_ptr<QObject> test = found->second.factory();
    return QTest::qExec(test.get(), argc - 1, argv + 1);
}

}  // namespace pellix::uitest

int main(int argc, char** argv) {
    return pellix::uitest::runRegisteredUiTest(argc, argv);
}
