# Install layout of the desktop files and the .deb package.
