#include <qecore/values/map.h>

#include "records.h"

namespace {

using namespace yk;

TEST(MapRecord, SavesEntriesAndAppends) {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  Variant transient = Make(1);
  transient.flags |= Variant::TRANSIENT;
  map->SetValue(0x0102, Make("ab"));
  map->SetValue(5, transient);
  map->SetValue(6, Make(true));
  std::string const saved = Saved(*map);
  EXPECT_EQ(saved, Bytes("\xE8\3\x12\0\0\0\2\1\0\0\x0E\0\3\0\0\0ab"
                         "\xE8\3\x0D\0\0\0\6\0\0\0\1\0\1"));
  std::string const strange =
      Bytes("\x01\0\x08\0\0\0??\xE8\3\x0B\0\0\0\7\0\0\0\1");  // another tag; no whole entry
  Ref<Map> const back = Ref<Map>::Adopt(Map::Create());
  for (unsigned count : {2u, 4u}) {
    EXPECT_EQ(back->Load(ReaderOf(saved + strange).get(), nullptr), S_FALSE);
    EXPECT_EQ(back->Count(), count);
  }
  Variant v;
  EXPECT_EQ(back->GetValue(0x0102, v), S_OK);
  EXPECT_TRUE(v.Compare(Make("ab")));
  EXPECT_EQ(back->GetValue(5, v), E_FAIL);
}

}  // namespace
