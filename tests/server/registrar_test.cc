// The registration-script language: every keyword, variables, quoting,
// unregistration rules and syntax errors that write nothing.
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "platform/strings.h"
#include "server/registrar.h"
#include "tests/platform/registry_fixture.h"
#include "tests/platform/test_objects.h"

namespace {

using mlr::server::RegistrarMode;
using mlr::server::RunRegistrationScript;

class Registrar : public PrivateRegistry {
 protected:
  HRESULT Run(const std::string& script, RegistrarMode mode = RegistrarMode::kRegister) {
    return RunRegistrationScript(script, variables_, mode);
  }
  std::map<std::string, std::string> variables_{{"MODULE", "/opt/it's here/lib.so"},
                                                {"NAME", "Sample"}};
};

const char kEveryKeyword[] = R"(
HKCR
{
    %NAME%.Thing.1 = s 'Thing %NAME%'
    {
        CLSID = s '{11111111-2222-3333-4444-555555555555}'
    }
    NoRemove Shared
    {
        ForceRemove {11111111-2222-3333-4444-555555555555} = s 'It''s a thing'
        {
            ForceRemove 'Key With Blanks'
            InprocServer32 = s '%MODULE%'
            {
                val ThreadingModel = s 'Free'
                val 'Odd %% Name' = s '100%%'
            }
        }
        Delete Obsolete
    }
}
HKCU
{
    Plain
    {
        val Setting = s 'on'
    }
}
)";

TEST_F(Registrar, EveryKeywordRegistersAndUnregisters) {
  // Things the script replaces, deletes or must leave alone.
  for (const char16_t* sub_key : {u"Shared\\{11111111-2222-3333-4444-555555555555}\\Stale",
                                 u"Shared\\Obsolete\\Deep", u"Shared\\Foreign"}) {
    ASSERT_TRUE(CreateKey(sub_key));
  }

  ASSERT_EQ(Run(kEveryKeyword), S_OK);
  const std::u16string clsid = u"Shared\\{11111111-2222-3333-4444-555555555555}";
  EXPECT_EQ(Value(u"Sample.Thing.1"), u"Thing Sample");
  EXPECT_EQ(Value(u"Sample.Thing.1\\CLSID"), u"{11111111-2222-3333-4444-555555555555}");
  EXPECT_EQ(Value(clsid), u"It's a thing");
  EXPECT_FALSE(KeyExists(clsid + u"\\Stale"));  // ForceRemove wrote a fresh tree
  EXPECT_TRUE(KeyExists(clsid + u"\\Key With Blanks"));
  EXPECT_EQ(Value(clsid + u"\\InprocServer32"), u"/opt/it's here/lib.so");
  EXPECT_EQ(Value(clsid + u"\\InprocServer32", u"ThreadingModel"), u"Free");
  EXPECT_EQ(Value(clsid + u"\\InprocServer32", u"Odd % Name"), u"100%");
  EXPECT_FALSE(KeyExists(u"Shared\\Obsolete"));  // Delete
  HKEY plain = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Plain", 0, KEY_READ, &plain), ERROR_SUCCESS);
  RegCloseKey(plain);

  // Registering again changes nothing.
  ASSERT_EQ(Run(kEveryKeyword), S_OK);
  EXPECT_EQ(SubKeyCount(clsid), 2);
  EXPECT_EQ(SubKeyCount(u"Shared"), 2);  // the class and the foreign key

  ASSERT_EQ(Run(kEveryKeyword, RegistrarMode::kUnregister), S_OK);
  EXPECT_FALSE(KeyExists(clsid));
  EXPECT_FALSE(KeyExists(u"Sample.Thing.1"));
  EXPECT_TRUE(KeyExists(u"Shared"));  // NoRemove
  EXPECT_TRUE(KeyExists(u"Shared\\Foreign"));
  EXPECT_NE(RegOpenKeyExW(HKEY_CURRENT_USER, u"Plain", 0, KEY_READ, &plain), ERROR_SUCCESS);
  // Unregistering what is not there is no failure.
  EXPECT_EQ(Run(kEveryKeyword, RegistrarMode::kUnregister), S_OK);
}

TEST_F(Registrar, PlainKeyWithForeignSubKeysSurvivesUnregistration) {
  const char script[] = "HKCR { Parent = s 'p' { Mine = s 'm' } }";
  ASSERT_EQ(Run(script), S_OK);
  ASSERT_TRUE(CreateKey(u"Parent\\Theirs"));
  ASSERT_EQ(Run(script, RegistrarMode::kUnregister), S_OK);
  EXPECT_FALSE(KeyExists(u"Parent\\Mine"));
  EXPECT_TRUE(KeyExists(u"Parent\\Theirs"));
}

TEST_F(Registrar, SyntaxErrorsWriteNothingAndSayWhere) {
  const struct {
    const char* script;
    const char* message;
  } cases[] = {
      {"HKCR\n{\n  A = s 'x'\n", "line 3: missing '}'"},
      {"HKXX { A }", "line 1: unknown root key 'HKXX'"},
      {"HKCR\nA { }", "line 2: expected '{' after HKCR"},
      {"HKCR { A = d '1' }", "line 1: expected the value type s"},
      {"HKCR { A = s x }", "line 1: expected a quoted value after s"},
      {"HKCR { A = s 'open }", "line 1: unterminated quoted text"},
      {"HKCR { %UNKNOWN% }", "line 1: unknown variable %UNKNOWN%"},
      {"HKCR { val X = s 'y' }", "line 1: a value directly under a root key"},
      {"HKCR {\n ForceRemove }", "line 2: expected a key name, found '}'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    // A valid first part must not be written either.
    const std::string script = std::string("HKCR { Written = s 'no' }\n") + c.script;
    EXPECT_EQ(Run(script), mlr::server::kScriptSyntaxError);
    const std::string text = mlr::ToUtf8(TakeThreadError().description.c_str());
    std::string expected = c.message;
    const int line = std::stoi(expected.substr(5)) + 1;  // one line was prepended
    expected = "line " + std::to_string(line) + expected.substr(expected.find(':'));
    EXPECT_NE(text.find(expected), std::string::npos) << text;
    EXPECT_FALSE(std::filesystem::exists(path_));
  }
}

}  // namespace
