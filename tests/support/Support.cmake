# SPDX-License-Identifier: GPL-3.0-or-later
# What tests stand on, in the same storeys as the program.

# Every file of tests includes these, and parses them once only.
set(basic_headers
    <gmock/gmock.h> <QByteArray> <QString> <atomic> <chrono> <filesystem> <fstream> <functional>
    <map> <memory> <optional> <string> <thread> <vector>)
set(window_headers
    ${basic_headers} <QAction> <QApplication> <QButtonGroup> <QCheckBox> <QComboBox> <QLabel>
    <QMainWindow> <QMessageBox> <QPointer> <QProgressBar> <QPushButton> <QSettings> <QSpinBox>
    <QTest> <QTimer> <QUrl>)

# lumaweave_test_support(NAME FILES FILE... LIBRARIES LIBRARY...)
function(lumaweave_test_support name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "FILES;LIBRARIES")
    list(TRANSFORM arg_FILES PREPEND support/)
    add_library(lumaweave_test_${name} STATIC ${arg_FILES})
    target_link_libraries(lumaweave_test_${name} PUBLIC ${arg_LIBRARIES})
endfunction()

lumaweave_test_support(basics
    FILES CommaLocale.cpp CommaLocale.h EnvironmentVariable.cpp EnvironmentVariable.h FakeTools.h
          FeedServer.cpp FeedServer.h FileSizeLimit.cpp FileSizeLimit.h InProcessWith.cpp
          InProcessWith.h LogRecorder.cpp LogRecorder.h Printed.h PrivateMemory.cpp
          PrivateMemory.h Program.cpp Program.h ReaderReplacement.cpp ReaderReplacement.h
          SettingsFile.h TestFolder.cpp TestFolder.h TestRun.cpp TestRun.h Waiting.cpp Waiting.h
          WaitingTool.cpp WaitingTool.h
    LIBRARIES lumaweave_platform Qt6::Network Qt6::Test GTest::gtest GTest::gmock)
target_include_directories(lumaweave_test_basics PUBLIC ${PROJECT_SOURCE_DIR}/tests)
target_compile_definitions(lumaweave_test_basics PUBLIC
    LUMAWEAVE_BUILT_IN_WEB_HOST="${LUMAWEAVE_WEB_HOST}"
    LUMAWEAVE_PROJECT_VERSION="${PROJECT_VERSION}"
    LUMAWEAVE_RESOURCES="${PROJECT_BINARY_DIR}/share/lumaweave"
    LUMAWEAVE_HELPERS="${PROJECT_BINARY_DIR}/libexec/lumaweave"
    LUMAWEAVE_SOURCE_FOLDER="${PROJECT_SOURCE_DIR}"
    LUMAWEAVE_BUILD_FOLDER="${PROJECT_BINARY_DIR}")
target_compile_options(lumaweave_test_basics PRIVATE ${test_options})
target_precompile_headers(lumaweave_test_basics PRIVATE ${basic_headers})
add_dependencies(lumaweave_test_basics lumaweave_resources)

lumaweave_test_support(pictures
    FILES ColourFixtures.cpp Colours.cpp Colours.h DngFixtures.cpp ExifTool.cpp ExifTool.h
          FormatFixtures.h FusionByHand.cpp FusionByHand.h HeifFixtures.cpp HostileFiles.cpp
          HostileFiles.h Jpeg2000Fixtures.cpp JpegFixtures.cpp JxlFixtures.cpp LightFixtures.cpp
          Pictures.cpp Pictures.h PixelFormats.h TiffPages.cpp TiffPages.h
    LIBRARIES lumaweave_test_basics lumaweave_decoding lumaweave_metadata Qt6::Gui PkgConfig::VIPS
              PkgConfig::TIFF PkgConfig::EXIV2 PkgConfig::LCMS)
target_link_libraries(lumaweave_test_pictures
    PRIVATE PkgConfig::JPEG PkgConfig::HEIF PkgConfig::JXL PkgConfig::OPENJPEG PkgConfig::EXR
            ZLIB::ZLIB)
add_dependencies(lumaweave_test_pictures lumaweave-reader)

lumaweave_test_support(windows
    FILES AlertAnswerer.cpp AlertAnswerer.h AlertTexts.h ShotsFixture.cpp ShotsFixture.h
          ShownWindow.h UrlOpener.h WindowsFixture.cpp WindowsFixture.h
    LIBRARIES lumaweave_test_pictures lumaweave_batch)
target_compile_options(lumaweave_test_windows PRIVATE ${test_options})
target_precompile_headers(lumaweave_test_windows PRIVATE ${window_headers})

lumaweave_test_support(program
    FILES ProgramFixture.cpp ProgramFixture.h VirtualDisplay.cpp VirtualDisplay.h
    LIBRARIES lumaweave_test_windows lumaweave_app PkgConfig::XCB)
