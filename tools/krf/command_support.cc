#include "tools/krf/command_support.h"

#include "tools/krf/recording_view.h"

namespace krf {

std::function<int()> WithCom(std::function<int()> body) {
  return [body = std::move(body)]() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int status = body();
    CoUninitialize();
    return status;
  };
}

bool OpenOrReport(const std::string& file, mlr::ComPtr<IRecording>* recording, int* exit_status) {
  OpenError error;
  if (OpenForInspection(file, recording, &error)) return true;
  *exit_status = ReportError(file, error.message, error.status);
  return false;
}

HRESULT FindChannel(IRecording* recording, LONG group, LONG channel,
                    mlr::ComPtr<IChannelInfo>* info, std::string* message) {
  info->reset();
  mlr::ComPtr<IChannelGroups> groups;
  mlr::ComPtr<IChannelGroup> found;
  HRESULT hr = recording->get_ChannelGroups(groups.put());
  if (SUCCEEDED(hr) && groups) hr = groups->get_Item(group, found.put());
  if (FAILED(hr) || !found) {
    *message = "no channel group " + std::to_string(group);
    return FAILED(hr) ? hr : E_INVALIDARG;
  }
  mlr::ComPtr<IChannelInfos> infos;
  hr = found->get_ChannelInfos(infos.put());
  if (SUCCEEDED(hr) && infos) hr = infos->get_Item(channel, info->put());
  if (FAILED(hr) || !*info) {
    info->reset();
    *message = "no channel " + std::to_string(channel) + " in group " + std::to_string(group);
    return FAILED(hr) ? hr : E_INVALIDARG;
  }
  return S_OK;
}

bool OpenChannelOrReport(const std::string& file, LONG group, LONG channel,
                         mlr::ComPtr<IRecording>* recording, mlr::ComPtr<IChannelInfo>* info,
                         int* exit_status) {
  if (!OpenOrReport(file, recording, exit_status)) return false;
  std::string message;
  const HRESULT hr = FindChannel(recording->get(), group, channel, info, &message);
  if (SUCCEEDED(hr)) return true;
  *exit_status = ReportError(file, message, hr);
  return false;
}

}  // namespace krf
