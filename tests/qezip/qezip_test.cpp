// The compression of qezip.qem, created through the registry as by a host.
#include <qecore/core/compressor.h>
#include <qecore/core/system.h>

#include "image/image_chunks.h"
#include "support/failure.h"
#include "support/temp_folder.h"

namespace {

using namespace yk;

struct Zip : testing::Test {
  Zip() {
    system->ScanModules(ProgramFolder().c_str(), cacheFolder.Path(L"cache").c_str());
    EXPECT_EQ(CreateInterface(ids::COMPRESSION_ZLIB, zlib.ReceiveVoid()), S_OK);
  }

  TempFolder cacheFolder;
  Ref<System> system = Own(System::Create());
  Ref<ykCompressor> zlib;
};

TEST_F(Zip, RestoresWhatFits) {
  string const text(1000, 'a');
  string packed(1000, 0), restored(1000, 0);
  unsigned room = 1000, few = 5;
  EXPECT_TRUE(Cast<ykCompressor>(static_cast<Unknown*>(zlib.get())));
  EXPECT_EQ(zlib->Compress(text.data(), 1000, packed.data(), room), S_OK);
  EXPECT_EQ(zlib->Compress(text.data(), 1000, restored.data(), few), S_FALSE);
  EXPECT_LT(room, 30u);
  EXPECT_EQ(zlib->Decompress(packed.data(), room, restored.data(), 1000), S_OK);
  EXPECT_EQ(restored, text);
  auto const wrong = [&](unsigned size, unsigned bytes) {
    return [&, size, bytes] { return zlib->Decompress(packed.data(), size, restored.data(), bytes); };
  };
  packed[room] = 7;
  for (auto const& call : {wrong(room - 1, 1000), wrong(room + 1, 1000), wrong(room, 999), wrong(room, 0)})
    ExpectFailures({{YK_E_BADFILE, L"damaged zlib data", call}});
}

TEST_F(Zip, KeepsImagesSmall) {
  ImageRef const image = NewImage(IMG_BGRA32, 700, 500);
  for (int i = 0; i < 700 * 500; ++i) reinterpret_cast<int*>(image->bits)[i] = i / 700 * 0x010203;
  Ref<Stream> const file = SavedImage(*image, ids::COMPRESSION_ZLIB);
  EXPECT_LT(file->GetSize(), 20000u);
  ExpectSameImage(*LoadedImage(*file), *image);
}

}  // namespace
