// The Windows service that runs the agents.
#pragma once

// Asks the service control manager to start the service "BlackBerry Controller" when it is stopped,
// and does not wait for it to run. Every problem is one printed line; success prints nothing. Needs
// administrator rights. Any thread.
void ServiceStartSvc();
