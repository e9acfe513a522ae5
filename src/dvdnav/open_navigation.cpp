#include "dvdnav/open_navigation.h"

#include "disc/open_disc_image.h"
#include "dvdnav/dvd_title_reader.h"

std::string folderOf(const std::string& file) {
  std::size_t separator = file.find_last_of("/\\");
  return separator == std::string::npos ? std::string() : file.substr(0, separator);
}

NavigationLoad loadNavigation(DvdTitleReader& reader, const std::string& file,
                              const std::string& folder) {
  OpenedDiscImage image = openDiscImage(file, file + "/VIDEO_TS");
  if (image.files) return {reader.openIfo(image.files, file + "/VIDEO_TS") == 0, file, {}};
  // A file that is no image, or none at all, names the folder it lies in.
  if (image.problem != disc::Problem::NotAnImage && image.problem != disc::Problem::Unreadable)
    return {false, file, image.message};
  return {reader.openIfo(folder) == 0, folder, {}};
}
