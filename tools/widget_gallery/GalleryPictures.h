#pragma once

class PictureFolder;

// The picture families of the gallery, each written into the folders it is given.

// Faders, the input volume, switches, the volume bar and the level meter.
void writeControlPictures(PictureFolder& widgets);
// The azimuth and elevation displays, on their own into `widgets` and with a sound map
// behind them into `soundMap`.
void writeBeamDisplayPictures(PictureFolder& widgets, PictureFolder& soundMap);
// The beam track list, the transport with the file navigator, and the input, monitor and
// recording selections.
void writeTrackPictures(PictureFolder& tracks);
