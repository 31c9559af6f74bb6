#pragma once

// Program entry: traces the arguments and runs the application object.
int RunHostCapture(int argc, char** argv);
