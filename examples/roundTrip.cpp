#include <Datasource/Datasource.h>

#include <cstdint>
#include <iostream>

int main() {
  const char dictionary[] = "row:int64\n";
  const int64 row0 = sizeof(dictionary) - 1;
  {
    VORN_FileStream plain("example.vorn", "wb");
    plain.Write(dictionary, sizeof(dictionary) - 1);
    zcmpsFilestr packed(plain);
    packed.setRow0Pos(row0);
    packed.Seek(row0, VORN_StrBaseIO::SeekFromStart);
    for (std::int64_t row = 0; row < 1'000'000; ++row) {
      packed.Write(&row, sizeof(row));
    }
    packed.Close();
  }
  VORN_FileStream plain("example.vorn", "rb");
  zcmpsFilestr packed(plain);
  packed.readFilePosInfo(row0, false);
  std::int64_t last = 0;
  packed.Seek(row0 + 999'999 * 8, VORN_StrBaseIO::SeekFromStart);
  packed.Read(&last, sizeof(last));
  std::cout << "dictionary part: " << row0 << " bytes, last row: " << last << '\n';
}
