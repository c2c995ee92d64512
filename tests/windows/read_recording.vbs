' VBScript client of movaLegacyRecording.dll (run by wine cscript //nologo):
' opens the recording given as argument (the result through a ByRef
' argument) and prints its title, groups, channels and a few values; then
' shows the error a missing file gives.
Option Explicit
Dim loader, recording, group, info, names, first, g, i, value, values, data
Set loader = CreateObject("Movaris.Legacy.KrfLoader")
loader.OpenRecording WScript.Arguments(0), recording
WScript.Echo "title=" & recording.Title
WScript.Echo "groups=" & recording.ChannelGroups.Count
g = 0
For Each group In recording.ChannelGroups
  g = g + 1
  names = ""
  Set first = Nothing
  For Each info In group.ChannelInfos
    If names <> "" Or Not first Is Nothing Then names = names & "|"
    names = names & info.Name
    If first Is Nothing Then Set first = info
  Next
  WScript.Echo "group " & g & ": channels=" & group.ChannelInfos.Count & " hnorms=" & _
               group.HNorms.Count & " names=" & names
  On Error Resume Next
  values = ""
  For i = 0 To 2
    first.GetSampleAtTime group.StartTime + i * group.HNorms.Item(1).XStep, value
    If i > 0 Then values = values & ","
    values = values & value
  Next
  If Err.Number <> 0 Then
    WScript.Echo "group " & g & ": samples unavailable: " & Err.Description
  Else
    WScript.Echo "group " & g & ": samples=" & values
  End If
  Err.Clear
  ' A channel list built by the script: an array of VARIANTs.
  group.GetMuxData Array(first), 1, 1, 3, 1, data
  If Err.Number <> 0 Then
    WScript.Echo "group " & g & ": GetMuxData failed: " & Err.Description
  Else
    WScript.Echo "group " & g & ": GetMuxData=" & IsArray(data)
  End If
  Err.Clear
  On Error GoTo 0
Next
On Error Resume Next
Set recording = Nothing
loader.OpenRecording "Z:\no\such\file.krf", recording
If Err.Number <> 0 Then
  WScript.Echo "missing file: " & Err.Description
Else
  WScript.Echo "missing file: no error"
End If
