# Makes a copy of the IDL that widl accepts (see cmake/windows.cmake).
file(READ ${IN} idl)
string(REGEX REPLACE "\n[ \t]*\\[helpstring\\(\"[^\"]*\"\\)\\][ \t]*\n" "\n" idl "${idl}")
string(REPLACE "SAFEARRAY(IChannelInfo*)" "SAFEARRAY(ChannelInfoPtr)" idl "${idl}")
string(REPLACE "\ninterface IRecordings;\n" "\ninterface IRecordings;\ntypedef IChannelInfo* ChannelInfoPtr;\n" idl "${idl}")
file(WRITE ${OUT} "${idl}")
