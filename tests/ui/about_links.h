// A test template of the About page that adds the two links the page
// answers (controls 1008 and 1009), which the filter's own template leaves
// out.
#pragma once

#define IDD_ABOUT_WITH_LINKS 9102
