quote read;
