// The real window on a real X server (Xvfb, started by run-on-xvfb.sh): built as the application
// builds it, it is 640 x 520, tells the window manager it cannot be resized, keeps the window
// manager's frame, and draws its first screen. Needs QT_QPA_PLATFORM=xcb and a DISPLAY.

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "UiTestSupport.h"

namespace pellix {

namespace {

// WM_NORMAL_HINTS as ICCCM lays it out: flags, four obsolete fields, then minimum and maximum.
constexpr std::uint32_t kMinSizeFlag = 1u << 4;
constexpr std::uint32_t kMaxSizeFlag = 1u << 5;

xcb_connection_t* xConnection() {
    auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

std::array<std::uint32_t, 9> normalHints(xcb_window_t window) {
    std::array<std::uint32_t, 9> fields{};
    xcb_connection_t* connection = xConnection();
    const xcb_get_property_cookie_t cookie = xcb_get_property(
        connection, 0, window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 0, 18);
    std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(connection, cookie, nullptr), &std::free);
    if (reply && xcb_get_property_value_length(reply.get()) >= int(sizeof fields)) {
        std::memcpy(fields.data(), xcb_get_property_value(reply.get()), sizeof fields);
    }
    return fields;
}

QSize serverSize(xcb_window_t window) {
    xcb_connection_t* connection = xConnection();
    std::unique_ptr<xcb_get_geometry_reply_t, decltype(&std::free)> reply(
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr),
        &std::free);
    return reply ? QSize(reply->width, reply->height) : QSize();
}

}  // namespace

class WindowSmokeCheck : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        QVERIFY(xConnection() != nullptr);
        // Assembled as runWindow() does, in a sandbox instead of the user's own home.
        Platform platform = sandbox_.platform();
        platform.runBlockingJob = executor_.executor();
        installer_ = std::make_unique<InstallerViewModel>(std::move(platform));
        window_ = std::make_unique<ContentView>(*installer_);
        window_->makeApplicationWindow();
        window_->show();
        QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
    }

    void windowIs640x520OnTheServer() {
        QCOMPARE(window_->size(), QSize(640, 520));
        QTRY_COMPARE(serverSize(xcb_window_t(window_->winId())), QSize(640, 520));
    }

    void sizeHintsTellTheWindowManagerItCannotBeResized() {
        const std::array<std::uint32_t, 9> hints = normalHints(xcb_window_t(window_->winId()));
        QVERIFY(hints[0] & kMinSizeFlag);
        QVERIFY(hints[0] & kMaxSizeFlag);
        QCOMPARE(QSize(int(hints[5]), int(hints[6])), QSize(640, 520));
        QCOMPARE(QSize(int(hints[7]), int(hints[8])), QSize(640, 520));
    }

    void resizeRequestsLeaveItsSizeAlone() {
        window_->resize(900, 700);
        window_->setGeometry(window_->x(), window_->y(), 900, 700);
        QTest::qWait(300);
        QCOMPARE(window_->size(), QSize(640, 520));
        QCOMPARE(serverSize(xcb_window_t(window_->winId())), QSize(640, 520));
    }

    void keepsTheWindowManagersFrameAndItsTitle() {
        QVERIFY(!(window_->windowFlags() & Qt::FramelessWindowHint));
        QCOMPARE(window_->windowTitle(), QStringLiteral("Pellix Installer"));
    }

    void drawsTheWelcomeScreenWithItsGradient() {
        QTRY_COMPARE(uitest::shownScreen(*window_)->objectName(), QStringLiteral("welcomeView"));
        const QImage shot = window_->screen()
                                ->grabWindow(window_->winId())
                                .toImage()
                                .convertToFormat(QImage::Format_RGB32);
        QCOMPARE(shot.size(), QSize(640, 520));
        QVERIFY(uitest::near(shot.pixelColor(3, 0), theme::gradientTop(), 2));
        shot.save(QStringLiteral(PELLIX_UI_ARTIFACTS) + "/xvfb-welcome.png");
    }

    void cleanupTestCase() {
        executor_.shutDown();
        window_.reset();
        installer_.reset();
    }

private:
    uitest::Sandbox sandbox_{false};
    QtExecutor executor_;
    std::unique_ptr<InstallerViewModel> installer_;
    std::unique_ptr<ContentView> window_;
};

}  // namespace pellix

PELLIX_UI_TEST_MAIN(pellix::WindowSmokeCheck)
#include "WindowSmokeCheck.moc"
