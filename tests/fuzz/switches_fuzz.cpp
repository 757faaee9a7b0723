// What a command makes of any arguments, held against the table's rules taken one by one.
#include "src/frame/switches.h"

#include "tests/fuzz/fuzz.h"

namespace {

// A command line of words that the switches are, look like, or are not.
std::vector<std::wstring> Words(fuzz::Input& input) {
  std::vector<std::wstring> words = {L"qrvadmin"};
  while (!input.IsEmpty() && words.size() < 40) {
    words.push_back(input.Word({L"-p", L"-e", L"-v", L"-f", L"-b", L"-P", L"-", L"", L"-1", L"401",
                                L"400", L" 7x", L"99999999999", L"ann", L"-pMain"}));
  }
  return words;
}

struct Read {
  std::wstring profile;
  std::vector<std::wstring> list;
  uint32_t verbose = 0;
  bool flag = false;
  BoundedNumber number = {200, 400};
};

Read Expected(const std::vector<std::wstring>& words) {
  Read read;
  for (size_t i = 1; i < words.size(); ++i) {
    const bool isLast = i + 1 == words.size();
    if (words[i] == L"-v") read.verbose = 1;
    if (words[i] == L"-f") read.flag = true;
    if (words[i] == L"-p" && !isLast) {
      read.profile = words[++i];
    } else if (words[i] == L"-b" && !isLast) {
      read.number.given = static_cast<uint32_t>(_wtoi(words[++i].c_str()));
    } else if (words[i] == L"-e") {
      while (i + 1 < words.size() && !words[i + 1].starts_with(L'-')) {
        read.list.push_back(words[++i]);
      }
    }
  }
  return read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  std::vector<std::wstring> words = Words(input);
  const bool isBare = words.size() == 1 && input.Byte() == 0;
  std::vector<wchar_t*> arguments;
  for (std::wstring& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  Read read;
  ReadSwitches(isBare ? 0 : static_cast<int>(words.size()), arguments.data(),
               {{L"-p", &read.profile},
                {L"-e", &read.list},
                {L"-v", &read.verbose},
                {L"-f", &read.flag},
                {L"-b", &read.number}});
  const Read expected = Expected(words);
  CLAIM(read.profile == expected.profile);
  CLAIM(read.list == expected.list);
  CLAIM(read.verbose == expected.verbose && read.flag == expected.flag);
  CLAIM(read.number.given == expected.number.given);
  CLAIM(read.number.Value() <= 400);
  CLAIM(read.number.Value() == 200 || read.number.Value() == *read.number.given);
  return 0;
}
