// Placeholder until the generator lands: writes an empty catalogue.
#include <cstdio>
#include <string>
int main(int argc, char** argv) {
  if (argc < 2) return 2;
  std::string dir = argv[1];
  std::FILE* f = std::fopen((dir + "/catalogue.bin").c_str(), "wb");
  if (!f) return 1;
  std::fclose(f);
  f = std::fopen((dir + "/catalogue_index.inc").c_str(), "w");
  if (!f) return 1;
  std::fclose(f);
  return 0;
}
