#pragma once

/// From now on Ctrl-C (and a plain `kill`) no longer ends the command at once, so that it can clear up first.
void CatchInterrupts();

/// Ends the work by a `Failure` if Ctrl-C came.
void StopIfInterrupted();
