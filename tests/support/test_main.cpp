#include <gmock/gmock.h>
#include <openssl/crypto.h>

#ifdef PARLOWEN_TEST_GUI
#include <QApplication>
using Application = QApplication;
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif

int main(int argc, char** argv) {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); // as the application does
    ::testing::InitGoogleMock(&argc, argv);
    const Application application(argc, argv);
    return RUN_ALL_TESTS();
}
