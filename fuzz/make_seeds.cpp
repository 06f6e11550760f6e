// Makes the inputs that the fuzzer starts from: FOLDER/<harness>/<name>.
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/hostile/mutator.h"

namespace {

using vexathumb::kit::WriteFile;

const std::map<std::string, std::vector<std::string>> kTexts = {
    {"query",
     {"size=small", "box=300x200&rotate=-5&store=pixdeck,docdeck", "side=64&avatar=1&gif=1",
      "size=big&only=1&smaller=1&any=1", "size=%73mall", "sort=mtime&offset=200&limit=1", "a+b=%zz",
      "size=small&size=big"}},
    {"request",
     {"REQUEST_METHOD=GET\nREQUEST_URI=/thumb/photos/a%20b.jpg?size=small",
      "REQUEST_URI=/cgi-bin/vexathumb-web/album/photos/\nSCRIPT_NAME=/cgi-bin/vexathumb-web",
      "REQUEST_URI=http://host/health", "REQUEST_URI=/thumb/photos/%2e%2e/%00",
      "REQUEST_METHOD=HEAD\nREQUEST_URI=/album?sort=name"}},
    {"ranges",
     {"bytes=0-99", "bytes=-100", "bytes=900-", "bytes=0-1,3-4, 2-2", "bytes=5-4",
      "bytes=99999999999999999999-", "lines=1-2", "bytes=,,-1"}},
    {"conditions",
     {"GET\n\"1-2-3\", W/\"x\"\n*\n", "HEAD\n\nW/\"1-2-3\"\nSun, 13 Sep 2020 12:26:40 GMT\n",
      "GET\n\n\n\nSunday, 13-Sep-20 12:26:40 GMT\n\"1-2-3\"\nbytes=0-1",
      "GET\n\n\nSun Sep 13 12:26:40 2020\n\nSun, 13 Sep 2020 12:26:40 GMT\nbytes=0-1",
      "Sun, 13 Sep 2020 12:26:40 GMT", "Sunday, 13-Sep-20 12:26:40 GMT",
      "Sun Sep 13 12:26:40 2020"}},
    {"settings",
     {"[store]\nlayout = central\nroot = /srv/store/\n[share photo]\npath = /srv/photo\nindexed = "
      "yes\n",
      "[service]\nlock_dir = /run/lock/v\nbuilders = 2\nwaiting = 9\ncompaction = no\nquality = "
      "85\n"
      "free_boxes = 3\n",
      "[http]\ndelivery = x-accel-redirect\nmap = /srv/photo = /internal/photo\nmap = /a=b = /c\n",
      "[tools]\nconfinement = no\ntemp_dir = /var/tmp/\n[tool convert]\nwall_time = 5\n",
      "; a remark\n\n[share a b ]\n path = /a/../b\n", "[store\nlayout", "key = value"}},
    {"album",
     {"pa/p\xff\xfe/d\x01/fa.mp4/p\"\\", "p../p%2f/d./d<script>/p\xe4\xb8\xad/p\xed\xa0\x80",
      "pIMG_10/pIMG_9/pimg 009/d0/f.jpg"}},
};

void MakeTexts(const std::string& folder) {
  for (const auto& [harness, texts] : kTexts) {
    std::filesystem::create_directories(folder + "/" + harness);
    for (size_t i = 0; i < texts.size(); ++i) {
      WriteFile(folder + "/" + harness + "/" + std::to_string(i), texts[i]);
    }
  }
}

void MakePictures(const std::string& folder) {
  std::filesystem::create_directories(folder);
  int number = 0;
  for (const std::string& picture : vexathumb::kit::SmallPictures()) {
    WriteFile(folder + "/" + std::to_string(number++), picture);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: make-fuzz-seeds FOLDER\n");
    return 2;
  }
  try {
    MakeTexts(argv[1]);
    MakePictures(argv[1] + std::string("/thumb_info"));
    return 0;
  } catch (const std::exception& error) {
    fprintf(stderr, "make-fuzz-seeds: %s\n", error.what());
    return 1;
  }
}
