// JScript client of movaLegacyRecording.dll (run by wine cscript //nologo):
// opens the recording given as argument and prints its title, groups,
// channels and a few values; then shows the error a missing file gives.
var path = WScript.Arguments(0);
var loader = new ActiveXObject("Movaris.Legacy.KrfLoader");
var recording = loader.OpenRecording(path);  // the [out] result comes back as the value
WScript.Echo("title=" + recording.Title);
WScript.Echo("groups=" + recording.ChannelGroups.Count);
var g = 0;
for (var groups = new Enumerator(recording.ChannelGroups); !groups.atEnd(); groups.moveNext()) {
  var group = groups.item();
  g++;
  var names = [];
  var first = null;
  for (var infos = new Enumerator(group.ChannelInfos); !infos.atEnd(); infos.moveNext()) {
    var info = infos.item();
    names.push(info.Name);
    if (first == null) first = info;
  }
  WScript.Echo("group " + g + ": channels=" + group.ChannelInfos.Count + " hnorms=" +
               group.HNorms.Count + " names=" + names.join("|"));
  try {
    var values = [];
    for (var i = 0; i < 3; i++) values.push(first.GetSampleAtTime(group.StartTime + i * group.HNorms.Item(1).XStep));
    WScript.Echo("group " + g + ": samples=" + values.join(","));
  } catch (e) {
    WScript.Echo("group " + g + ": samples unavailable: " + e.description);
  }
}
try {
  loader.OpenRecording("Z:\\no\\such\\file.krf");
  WScript.Echo("missing file: no error");
} catch (e) {
  WScript.Echo("missing file: " + e.description);
}
