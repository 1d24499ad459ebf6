page.start();
