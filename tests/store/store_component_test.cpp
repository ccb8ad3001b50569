#include "store/store_component.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "components/child_process.h"
#include "support/scratch_folder.h"

namespace qvant {
namespace {

namespace fs = std::filesystem;
using test::CChildProcess;
using test::CScratchFolder;

TEST(StoreComponent, LiesBesideTheReleaseFolderWord) {
    EXPECT_EQ(GetReleaseComponentPath(u"/opt/QvantRelease/Modules/libQVLumivale.so"),
              u"/opt/QvantRelease/Components/QV_DataBase64.so");
    EXPECT_EQ(GetReleaseComponentPath(u"/opt/lumivale/lib/libQVLumivale.so"), u"");
    EXPECT_EQ(GetReleaseComponentPath(u"/opt/QvantRelease2/libQVLumivale.so"), u"");
    EXPECT_EQ(GetReleaseComponentPath(u""), u"");
}

std::string RunOrigin(const fs::path& program) {
    CChildProcess process({program.string()});
    std::string strLine = process.ReadLine();
    EXPECT_EQ(process.Wait(), 0);
    if (!strLine.empty()) strLine.pop_back();
    return strLine;
}

/// The files of a release: the program and the libraries that it is linked with, the store where `store` says.
fs::path MakeRelease(const fs::path& root, const fs::path& store) {
    const fs::path libraries = fs::path(QV_STORE_LIBRARY).parent_path();
    fs::create_directories(root / "bin");
    fs::create_directories(root / "lib");
    fs::create_directories((root / store).parent_path());
    fs::copy_file(QV_STORE_ORIGIN, root / "bin/origin");
    fs::copy_file(libraries / "libqvautomation.so", root / "lib/libqvautomation.so");
    fs::copy_file(QV_STORE_LIBRARY, root / store);
    return root / "bin/origin";
}

TEST(StoreComponent, IsLoadedFromTheReleaseTreeThatTheModuleRunsOutOf) {
    const CScratchFolder folder;
    const fs::path root = folder.GetPath() / "QvantRelease";
    EXPECT_EQ(RunOrigin(MakeRelease(root, "Components/QV_DataBase64.so")),
              (root / "Components/QV_DataBase64.so").string());
}

TEST(StoreComponent, ComesByItsNameOutsideOfAReleaseTree) {
    const CScratchFolder folder;
    const fs::path root = folder.GetPath() / "elsewhere";
    const fs::path program = MakeRelease(root, "lib/libqvstore.so");
    fs::create_directories(root / "Components");
    fs::copy_file(QV_STORE_LIBRARY, root / "Components/QV_DataBase64.so");
    EXPECT_EQ(RunOrigin(program), (root / "lib/libqvstore.so").string());
}

TEST(StoreComponent, ComesByItsNameWhenTheReleaseTreeHasNone) {
    const CScratchFolder folder;
    const fs::path root = folder.GetPath() / "QvantRelease";
    EXPECT_EQ(RunOrigin(MakeRelease(root, "lib/libqvstore.so")), (root / "lib/libqvstore.so").string());
}

}  // namespace
}  // namespace qvant
