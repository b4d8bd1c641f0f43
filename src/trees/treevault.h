// trees/treevault.h: trees put aside, out of the buffer.  They lie behind it, in its layer.
#pragma once
#include <cstdint>

extern int have_vault;               // there is a vault; 0 at start and with every new matrix
extern int max_vault_trees;          // its room; 0 without a vault
extern int trees_in_vault;           // trees held, in places 0..trees_in_vault-1
extern int **vault_tree;             // max_vault_trees rows of nodz entries
extern uint32_t **vault_treegroup;   // per tree, treegroupcells words of group bits

void layvault(int room);             // lays out the tables, empty; 0: there is no vault.  Part of the buffer's layer
void setvault(int trees, int room);  // room for trees in the buffer and in the vault, said so; trees survive as far as there is room
void vaultseterror();                // "Cannot increase tree-space when tree-vault is set", when it is
int  give_vault_room();              // max_vault_trees, 0 without data
void checkvault();
