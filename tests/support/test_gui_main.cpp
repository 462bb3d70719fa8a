#include <gmock/gmock.h>
#include <openssl/crypto.h>

#include <QApplication>

int main(int argc, char** argv) {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); // as the application does
    ::testing::InitGoogleMock(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
